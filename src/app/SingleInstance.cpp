#include "SingleInstance.h"

#include <QLocalSocket>

#include <unistd.h>

namespace brindlet {

SingleInstance::SingleInstance(QObject* parent)
    : QObject(parent)
    // One per user on each display: a desktop session is where its shortcuts and windows live.
    , name_(
          QStringLiteral("brindlet-%1-%2")
              .arg(::getuid())
              .arg(
                  qEnvironmentVariable("DISPLAY").remove(QLatin1Char(':')).replace(QLatin1Char('/'), QLatin1Char('_'))))
{
    connect(&server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = server_.nextPendingConnection()) {
            connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
                const QByteArray request = socket->readAll();
                if (request.startsWith("reopen"))
                    emit reopenRequested();
                else if (request.startsWith("quit"))
                    emit quitRequested();
                socket->disconnectFromServer();
            });
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
}

bool SingleInstance::handOverToRunningInstance(const QByteArray& request)
{
    QLocalSocket socket;
    socket.connectToServer(name_);
    if (!socket.waitForConnected(500))
        return false;
    socket.write(request + '\n');
    socket.waitForBytesWritten(500);
    socket.waitForDisconnected(500);
    return true;
}

bool SingleInstance::listen()
{
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    if (server_.listen(name_))
        return true;
    // A socket left by an instance that died: nobody answered on it, so it is ours to take.
    QLocalServer::removeServer(name_);
    return server_.listen(name_);
}

} // namespace brindlet
