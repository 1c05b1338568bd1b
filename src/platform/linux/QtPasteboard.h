#pragma once

// The desktop's clipboard through Qt's, for a program that runs a QGuiApplication. Every change
// by anyone raises the change count; items keep every type their owner offers.

#include "platform/PasteboardServing.h"

#include <QObject>

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

private:
    qint64 changeCount_ = 0;
};

} // namespace brindlet
