#pragma once

// One Brindlet per user and display: the first instance listens on a local socket named for
// both; a second launch tells it to reopen (or, with --quit, to quit) and leaves.

#include <QLocalServer>
#include <QObject>

namespace brindlet {

class SingleInstance : public QObject {
    Q_OBJECT

public:
    explicit SingleInstance(QObject* parent = nullptr);

    // True when a running instance took the request: this one should leave.
    bool handOverToRunningInstance(const QByteArray& request = "reopen");
    // Becomes the instance that later launches hand over to.
    bool listen();

signals:
    void reopenRequested();
    void quitRequested();

private:
    QString name_;
    QLocalServer server_;
};

} // namespace brindlet
