#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>
#include <utility>

namespace brindlet {

// One clipboard item: each representation it offers, by type, in order.
using PasteboardItem = QList<std::pair<QString, QByteArray>>;

// The shared clipboard. Its change count rises with every change by anyone. Item types are the
// backend's own; the program only copies them back as they were.
class PasteboardServing {
public:
    virtual ~PasteboardServing() = default;
    virtual qint64 changeCount() = 0;
    // Every item with the types that give data.
    virtual QList<PasteboardItem> items() = 0;
    virtual void clearContents() = 0;
    // Writes the text as plain text; reports success.
    virtual bool setString(const QString& text) = 0;
    virtual void writeItems(const QList<PasteboardItem>& items) = 0;
    // Whether another application has read the text that setString last wrote; nullopt where
    // the platform cannot tell.
    virtual std::optional<bool> lastStringWasRead() { return std::nullopt; }
};

} // namespace brindlet
