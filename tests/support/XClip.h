#pragma once

// Another application's use of the clipboard, played by xclip.

#include <QByteArray>
#include <QString>

#include <optional>

namespace brindlet::test {

// What another application reads from the clipboard, as that type; nullopt when it offers none.
// Waits in the event loop, since our own clipboard answers through it.
std::optional<QByteArray> readClipboardAs(const QString& type);
// Another application takes the clipboard with one type.
void writeClipboardAs(const QString& type, const QByteArray& bytes);

} // namespace brindlet::test
