#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace brindlet {

// The bytes as UTF-8 text, or nothing when they are not valid UTF-8. Other programs' output is
// judged with this: undecodable text is treated as absent, never half-decoded.
std::optional<QString> decodeUtf8(const QByteArray& bytes);

} // namespace brindlet
