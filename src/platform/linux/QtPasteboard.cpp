#include "QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace brindlet {

namespace {
// Text that notes when its data is handed out.
class TrackedText final : public QMimeData {
public:
    explicit TrackedText(std::shared_ptr<bool> read)
        : read_(std::move(read))
    {
    }

protected:
    QVariant retrieveData(const QString& type, QMetaType preferred) const override
    {
        *read_ = true;
        return QMimeData::retrieveData(type, preferred);
    }

private:
    std::shared_ptr<bool> read_;
};
} // namespace

QtPasteboard::QtPasteboard(QObject* parent)
    : QObject(parent)
{
    // Qt reports every change of the clipboard's owner, ours included.
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] { ++changeCount_; });
}

QList<PasteboardItem> QtPasteboard::items()
{
    // The desktop's clipboard holds one item; it is kept with every type it offers, in order.
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    if (!data)
        return {};
    PasteboardItem item;
    for (const QString& type : data->formats()) {
        const QByteArray bytes = data->data(type);
        if (!bytes.isNull())
            item.append({ type, bytes });
    }
    if (item.isEmpty())
        return {};
    return { item };
}

void QtPasteboard::clearContents()
{
    QGuiApplication::clipboard()->clear();
}

bool QtPasteboard::setString(const QString& text)
{
    auto read = std::make_shared<bool>(false);
    auto* data = new TrackedText(read);
    data->setText(text);
    QGuiApplication::clipboard()->setMimeData(data);
    const bool written = QGuiApplication::clipboard()->text() == text;
    *read = false; // that was our own check
    lastStringRead_ = read;
    return written;
}

std::optional<bool> QtPasteboard::lastStringWasRead()
{
    return lastStringRead_ && *lastStringRead_;
}

void QtPasteboard::writeItems(const QList<PasteboardItem>& items)
{
    auto* data = new QMimeData;
    for (const PasteboardItem& item : items) {
        for (const auto& [type, bytes] : item)
            data->setData(type, bytes);
    }
    QGuiApplication::clipboard()->setMimeData(data);
}

} // namespace brindlet
