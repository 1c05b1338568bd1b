#pragma once

// One HTTP/1.1 request and its reply over a socket of its own, on the calling thread, read as it
// arrives: the status once the head is in, then the body line after line, never holding more of
// it than what has arrived and not been taken. Qt's network access manager runs HTTP on a thread
// of its own and hands every piece of a stream across; a model's reply is thousands of small
// pieces, and here they cost no more than reading the socket.

#include "tasks/Completion.h"
#include "tasks/Task.h"

#include <QAbstractSocket>
#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QNetworkReply>
#include <QPointer>
#include <QSslCertificate>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <memory>
#include <optional>

class QTcpSocket;

namespace brindlet {

struct HttpRequest {
    QByteArray method = "GET";
    QUrl url; // http or https
    QByteArray contentType; // sent with the body when not empty
    QByteArray body;
    // A request fails with TimeoutError when nothing moves on the connection for this long.
    std::chrono::milliseconds transferTimeout { 120'000 };
    // Further header lines, sent as given.
    QList<std::pair<QByteArray, QByteArray>> headers;
    // Reach this address and port instead of the URL's host, which still names the server in the
    // Host line and in the certificate check: how a test puts a named server on the loopback.
    std::optional<std::pair<QString, quint16>> connectTo;
    // Authorities trusted besides the system's, for https.
    QList<QSslCertificate> extraCertificateAuthorities;
};

class HttpExchange {
public:
    // Starts connecting at once. Loopback hosts are reached directly; others through the
    // system's proxy when it has one.
    explicit HttpExchange(HttpRequest request);
    ~HttpExchange();
    HttpExchange(const HttpExchange&) = delete;
    HttpExchange& operator=(const HttpExchange&) = delete;

    // The HTTP status, once the head is in. A transport failure before it is thrown as
    // NetworkError with the socket's words.
    Task<int> status();
    // The next line of the body without its terminator ("\n", or "\r\n"); empty lines are
    // skipped. nullopt at the end of the body. A transport failure is thrown as NetworkError.
    Task<std::optional<QByteArray>> nextLine();
    // A complete line that has already arrived, without waiting or copying; nullopt when none has.
    // The view holds until the next call on this exchange. Lets a reader of thousands of short
    // lines skip an await and a copy for each.
    std::optional<QByteArrayView> takeBufferedLine();
    // The rest of the body.
    Task<QByteArray> readAll();

    // Ends the exchange; a waiting reader sees OperationCanceledError.
    void abort();

private:
    enum class BodyFraming { chunked, length, untilClose };

    void sendRequest();
    void receive();
    bool parseHead();
    bool parseBody(); // false when more bytes are needed
    void fail(QNetworkReply::NetworkError code, const QString& message);
    void finish();
    void wake();
    Task<void> waitForActivity();
    void throwIfFailed() const;
    QByteArray takeRest();

    HttpRequest request_;
    QPointer<QTcpSocket> socket_;
    QTimer idleTimer_;
    QElapsedTimer sinceActivity_;
    std::shared_ptr<Completion<bool>> activity_;

    QByteArray raw_; // received and not yet parsed
    QByteArray body_; // the body as decoded; the first bodyTaken_ bytes have been taken
    qsizetype bodyTaken_ = 0;
    std::optional<int> status_;
    BodyFraming framing_ = BodyFraming::untilClose;
    qint64 remaining_ = 0; // of the body (length) or of the current chunk (chunked)
    bool inChunkData_ = false;
    bool finished_ = false;
    std::optional<std::pair<QNetworkReply::NetworkError, QString>> failure_;
};

} // namespace brindlet
