#include "HttpExchange.h"

#include "NetworkError.h"

#include <QHostAddress>
#include <QNetworkProxyFactory>
#include <QScopeGuard>
#include <QSslConfiguration>
#include <QSslSocket>

namespace brindlet {

namespace {

constexpr qsizetype headLimit = 64 * 1024;

bool isLoopback(const QString& host)
{
    QHostAddress address;
    return host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0
        || (address.setAddress(host) && address.isLoopback());
}

// A local model server is never reached through a proxy; anything else follows the system.
QNetworkProxy proxyFor(const QUrl& url)
{
    if (isLoopback(url.host()))
        return QNetworkProxy::NoProxy;
    for (const QNetworkProxy& proxy : QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url))) {
        if (proxy.type() == QNetworkProxy::HttpProxy || proxy.type() == QNetworkProxy::Socks5Proxy)
            return proxy;
    }
    return QNetworkProxy::NoProxy;
}

QNetworkReply::NetworkError replyErrorFor(QAbstractSocket::SocketError error)
{
    switch (error) {
    case QAbstractSocket::ConnectionRefusedError: return QNetworkReply::ConnectionRefusedError;
    case QAbstractSocket::HostNotFoundError: return QNetworkReply::HostNotFoundError;
    case QAbstractSocket::RemoteHostClosedError: return QNetworkReply::RemoteHostClosedError;
    case QAbstractSocket::SocketTimeoutError: return QNetworkReply::TimeoutError;
    case QAbstractSocket::SslHandshakeFailedError: return QNetworkReply::SslHandshakeFailedError;
    case QAbstractSocket::ProxyConnectionRefusedError: return QNetworkReply::ProxyConnectionRefusedError;
    case QAbstractSocket::ProxyConnectionClosedError: return QNetworkReply::ProxyConnectionClosedError;
    case QAbstractSocket::ProxyNotFoundError: return QNetworkReply::ProxyNotFoundError;
    case QAbstractSocket::ProxyAuthenticationRequiredError: return QNetworkReply::ProxyAuthenticationRequiredError;
    default: return QNetworkReply::UnknownNetworkError;
    }
}

QByteArray requestHead(const HttpRequest& request)
{
    QByteArray target = request.url.path(QUrl::FullyEncoded).toLatin1();
    if (target.isEmpty())
        target = "/";
    if (request.url.hasQuery())
        target += '?' + request.url.query(QUrl::FullyEncoded).toLatin1();
    QByteArray host = request.url.host(QUrl::FullyEncoded).toLatin1();
    if (host.contains(':'))
        host = '[' + host + ']';
    if (request.url.port() != -1)
        host += ':' + QByteArray::number(request.url.port());
    QByteArray head = request.method + ' ' + target + " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\n";
    if (!request.contentType.isEmpty())
        head += "Content-Type: " + request.contentType + "\r\n";
    for (const auto& [name, value] : request.headers)
        head += name + ": " + value + "\r\n";
    if (!request.body.isEmpty() || request.method != "GET")
        head += "Content-Length: " + QByteArray::number(request.body.size()) + "\r\n";
    return head + "\r\n";
}

const QString malformedReply = QStringLiteral("The server's reply is not valid HTTP.");

} // namespace

HttpExchange::HttpExchange(HttpRequest request)
    : request_(std::move(request))
{
    const bool encrypted = request_.url.scheme() == QLatin1String("https");
    QTcpSocket* socket = encrypted ? new QSslSocket : new QTcpSocket;
    socket_ = socket;
    socket->setProxy(request_.connectTo ? QNetworkProxy(QNetworkProxy::NoProxy) : proxyFor(request_.url));
    idleTimer_.setSingleShot(true);
    idleTimer_.setInterval(request_.transferTimeout);
    // Re-arming a timer at every read costs more than the read; the timer checks instead, when
    // it fires, whether anything moved since it was armed.
    QObject::connect(&idleTimer_, &QTimer::timeout, socket, [this] {
        const auto idle = std::chrono::milliseconds(sinceActivity_.elapsed());
        if (idle < request_.transferTimeout)
            return idleTimer_.start(request_.transferTimeout - idle);
        fail(QNetworkReply::TimeoutError, QStringLiteral("Operation timed out"));
        wake();
    });
    if (encrypted)
        QObject::connect(static_cast<QSslSocket*>(socket), &QSslSocket::encrypted, socket, [this] { sendRequest(); });
    else
        QObject::connect(socket, &QTcpSocket::connected, socket, [this] { sendRequest(); });
    QObject::connect(socket, &QTcpSocket::bytesWritten, socket, [this] { sinceActivity_.start(); });
    QObject::connect(socket, &QTcpSocket::readyRead, socket, [this] { receive(); });
    QObject::connect(socket, &QTcpSocket::disconnected, socket, [this] { receive(); });
    QObject::connect(socket, &QTcpSocket::errorOccurred, socket, [this](QAbstractSocket::SocketError error) {
        // A peer that closes is an ordinary end for a body that runs until the close.
        if (error == QAbstractSocket::RemoteHostClosedError)
            return receive();
        fail(replyErrorFor(error), socket_->errorString());
        wake();
    });
    sinceActivity_.start();
    idleTimer_.start();
    const auto [host, port] = request_.connectTo.value_or(
        std::pair { request_.url.host(), quint16(request_.url.port(encrypted ? 443 : 80)) });
    if (encrypted) {
        auto* ssl = static_cast<QSslSocket*>(socket);
        if (!request_.extraCertificateAuthorities.isEmpty()) {
            QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
            configuration.addCaCertificates(request_.extraCertificateAuthorities);
            ssl->setSslConfiguration(configuration);
        }
        ssl->connectToHostEncrypted(host, port, request_.url.host());
    } else {
        socket->connectToHost(host, port);
    }
}

HttpExchange::~HttpExchange()
{
    if (socket_) {
        socket_->disconnect();
        socket_->abort();
        // Its signals may be what resumed the task that is letting go of this exchange.
        socket_->deleteLater();
    }
}

void HttpExchange::abort()
{
    fail(QNetworkReply::OperationCanceledError, QStringLiteral("Operation canceled"));
    wake();
}

void HttpExchange::sendRequest()
{
    // Two writes: a builder expression would copy a large body byte by byte.
    socket_->write(requestHead(request_));
    socket_->write(request_.body);
    request_.body.clear();
}

void HttpExchange::receive()
{
    if (finished_ || !socket_)
        return;
    sinceActivity_.start();
    raw_ += socket_->readAll();
    if (!status_ && !parseHead()) {
        if (raw_.size() > headLimit)
            fail(QNetworkReply::ProtocolFailure, malformedReply);
    }
    if (status_ && parseBody())
        finish();
    if (!finished_ && !failure_ && socket_->state() == QAbstractSocket::UnconnectedState) {
        if (status_ && framing_ == BodyFraming::untilClose)
            finish();
        else
            fail(QNetworkReply::RemoteHostClosedError, QStringLiteral("Connection closed"));
    }
    wake();
}

bool HttpExchange::parseHead()
{
    for (;;) {
        const qsizetype end = raw_.indexOf("\r\n\r\n");
        if (end < 0)
            return false;
        const QList<QByteArray> lines = raw_.left(end).split('\n');
        raw_.remove(0, end + 4);
        const QList<QByteArray> statusLine = lines.value(0).trimmed().split(' ');
        bool numeric = false;
        const int code = statusLine.value(1).toInt(&numeric);
        if (!statusLine.value(0).startsWith("HTTP/1.") || !numeric || code < 100 || code > 999) {
            fail(QNetworkReply::ProtocolFailure, malformedReply);
            return false;
        }
        if (code < 200)
            continue; // an interim answer; the real one follows
        framing_ = BodyFraming::untilClose;
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            if (colon <= 0)
                continue;
            const QByteArray name = lines[i].left(colon).trimmed().toLower();
            const QByteArray value = lines[i].mid(colon + 1).trimmed();
            if (name == "transfer-encoding" && value.toLower().contains("chunked")) {
                framing_ = BodyFraming::chunked;
            } else if (name == "content-length" && framing_ != BodyFraming::chunked) {
                bool valid = false;
                remaining_ = value.toLongLong(&valid);
                if (!valid || remaining_ < 0) {
                    fail(QNetworkReply::ProtocolFailure, malformedReply);
                    return false;
                }
                framing_ = BodyFraming::length;
            }
        }
        if (framing_ == BodyFraming::chunked)
            remaining_ = 0;
        status_ = code;
        return true;
    }
}

bool HttpExchange::parseBody()
{
    if (framing_ == BodyFraming::untilClose) {
        body_ += std::exchange(raw_, {});
        return false;
    }
    if (framing_ == BodyFraming::length) {
        const qsizetype take = qMin<qsizetype>(remaining_, raw_.size());
        body_ += raw_.left(take);
        raw_.remove(0, take);
        remaining_ -= take;
        return remaining_ == 0;
    }
    // The framing is read through an offset and the buffer trimmed once, rather than at every
    // chunk: a read can hold thousands of small chunks.
    qsizetype at = 0;
    const auto consumed = qScopeGuard([&] { raw_.remove(0, at); });
    for (;;) {
        if (inChunkData_) {
            const qsizetype take = qMin<qsizetype>(remaining_, raw_.size() - at);
            body_.append(raw_.constData() + at, take);
            at += take;
            remaining_ -= take;
            if (remaining_ > 0 || raw_.size() - at < 2)
                return false;
            if (raw_[at] != '\r' || raw_[at + 1] != '\n') {
                fail(QNetworkReply::ProtocolFailure, malformedReply);
                return false;
            }
            at += 2;
            inChunkData_ = false;
        }
        const qsizetype lineEnd = raw_.indexOf("\r\n", at);
        if (lineEnd < 0)
            return false;
        QByteArrayView sizeText(raw_.constData() + at, lineEnd - at);
        at = lineEnd + 2;
        if (const qsizetype extension = sizeText.indexOf(';'); extension >= 0)
            sizeText.truncate(extension);
        bool valid = false;
        remaining_ = sizeText.trimmed().toLongLong(&valid, 16);
        if (!valid || remaining_ < 0) {
            fail(QNetworkReply::ProtocolFailure, malformedReply);
            return false;
        }
        if (remaining_ == 0) {
            // The last chunk; trailers, if any, are not wanted. The connection closes after it.
            return true;
        }
        inChunkData_ = true;
    }
}

void HttpExchange::fail(QNetworkReply::NetworkError code, const QString& message)
{
    if (finished_)
        return;
    failure_ = { code, message };
    finish();
}

void HttpExchange::finish()
{
    finished_ = true;
    idleTimer_.stop();
    if (socket_)
        socket_->abort();
}

// Resuming the reader may end it and this exchange with it: every handler wakes last.
void HttpExchange::wake()
{
    if (auto pending = std::exchange(activity_, nullptr))
        pending->resolve(true);
}

Task<void> HttpExchange::waitForActivity()
{
    auto completion = std::make_shared<Completion<bool>>();
    activity_ = completion;
    co_await completion->wait();
}

void HttpExchange::throwIfFailed() const
{
    if (failure_)
        throw NetworkError(failure_->first, failure_->second);
}

Task<int> HttpExchange::status()
{
    while (!status_ && !finished_)
        co_await waitForActivity();
    if (!status_) {
        throwIfFailed();
        throw NetworkError(QNetworkReply::ProtocolFailure, malformedReply);
    }
    co_return *status_;
}

std::optional<QByteArrayView> HttpExchange::takeBufferedLine()
{
    for (;;) {
        const qsizetype newline = body_.indexOf('\n', bodyTaken_);
        if (newline < 0) {
            // Dropping from the front moves no bytes in Qt 6.
            body_.remove(0, std::exchange(bodyTaken_, 0));
            return std::nullopt;
        }
        QByteArrayView line(body_.constData() + bodyTaken_, newline - bodyTaken_);
        bodyTaken_ = newline + 1;
        if (line.endsWith('\r'))
            line.chop(1);
        if (!line.isEmpty())
            return line;
    }
}

QByteArray HttpExchange::takeRest()
{
    QByteArray rest = body_.sliced(std::exchange(bodyTaken_, 0));
    body_.clear();
    return rest;
}

Task<std::optional<QByteArray>> HttpExchange::nextLine()
{
    for (;;) {
        if (auto line = takeBufferedLine())
            co_return line->toByteArray();
        if (finished_) {
            throwIfFailed();
            QByteArray rest = takeRest();
            if (rest.endsWith('\r'))
                rest.chop(1);
            if (rest.isEmpty())
                co_return std::nullopt;
            co_return rest;
        }
        co_await waitForActivity();
    }
}

Task<QByteArray> HttpExchange::readAll()
{
    while (!finished_)
        co_await waitForActivity();
    throwIfFailed();
    co_return takeRest();
}

} // namespace brindlet
