#include "QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace brindlet {

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
    QGuiApplication::clipboard()->setText(text);
    return QGuiApplication::clipboard()->text() == text;
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
