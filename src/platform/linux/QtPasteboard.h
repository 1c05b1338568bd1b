#pragma once

// The desktop's clipboard through Qt's, for a program that runs a QGuiApplication. Every change
// by anyone raises the change count; items keep every type their owner offers. It also tells
// when another application has read the text it wrote: a Qt application reads the clipboard on
// its main thread, which is also the one that answers accessibility calls, so a paste must wait
// for that read before it calls into the target again.

#include "platform/PasteboardServing.h"

#include <QObject>

#include <memory>

namespace brindlet {

class QtPasteboard final : public QObject, public PasteboardServing {
    Q_OBJECT

public:
    // The clipboard of the running QGuiApplication.
    explicit QtPasteboard(QObject* parent = nullptr);

    qint64 changeCount() override { return changeCount_; }
    QList<PasteboardItem> items() override;
    void clearContents() override;
    bool setString(const QString& text) override;
    void writeItems(const QList<PasteboardItem>& items) override;
    std::optional<bool> lastStringWasRead() override;

private:
    qint64 changeCount_ = 0;
    std::shared_ptr<bool> lastStringRead_;
};

} // namespace brindlet
