#pragma once

// A small HTTP server on 127.0.0.1, plain or over TLS, that answers as the tests script it: the
// Ollama interface (chunked newline-delimited JSON with controllable timing, error statuses, bad JSON, streams
// without a `done` line, connections dropped mid-stream or left hanging), an analytics collector,
// an update feed.

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

class QTcpSocket;

namespace brindlet::test {

struct RecordedRequest {
    QByteArray method;
    QByteArray path;
    QMap<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
};

struct FakeResponse {
    struct Chunk {
        QByteArray bytes;
        std::chrono::milliseconds delay { 0 }; // before this chunk is written
    };
    int status = 200;
    QByteArray contentType = "application/x-ndjson";
    std::vector<Chunk> chunks;
    bool dropAfterChunks = false; // close the connection without the terminating chunk
    bool hang = false; // never finish after the chunks
    bool verbatim = false; // the chunks are the whole reply, head included, written as they are

    // One line per chunk: {"response":...,"done":false} lines, then a done line.
    static FakeResponse stream(
        const QList<QString>& pieces, std::chrono::milliseconds delay = {}, bool withDoneLine = true);
    static FakeResponse lines(const QList<QByteArray>& rawLines, std::chrono::milliseconds delay = {});
    static FakeResponse json(int status, const QByteArray& body);
    // The reply written byte by byte as given, head and framing included, then the connection closed.
    static FakeResponse bytes(const QByteArray& reply, std::chrono::milliseconds delay = {});
};

// A loopback port that nothing listens on, for connection failures.
quint16 closedLoopbackPort();

// A certificate for 127.0.0.1 and the names "collector.test" and "updates.test", made once per
// process with the openssl program; a test trusts it as an authority of its own.
struct TestCertificate {
    QSslCertificate certificate;
    QSslKey key;
    static const TestCertificate& shared();
};

class FakeHttpServer : public QObject {
public:
    using Handler = std::function<FakeResponse(const RecordedRequest&)>;

    // Over TLS with the shared test certificate when tls is set.
    explicit FakeHttpServer(bool tls = false);
    ~FakeHttpServer() override;

    QString baseURL() const;
    quint16 port() const { return server_->serverPort(); }

    void setHandler(Handler handler) { handler_ = std::move(handler); }
    // Convenience: the same answer for every request.
    void respondWith(FakeResponse response);

    // Called right after each body chunk is handed to the socket, with its index.
    void setChunkWritten(std::function<void(size_t)> callback) { chunkWritten_ = std::move(callback); }

    const QList<RecordedRequest>& requests() const { return requests_; }
    int openConnections() const { return openConnections_; }

private:
    void accept();
    void serve(QTcpSocket* socket, QByteArray* buffer);
    void writeChunks(QTcpSocket* socket, FakeResponse response, size_t index);

    std::unique_ptr<QTcpServer> server_;
    Handler handler_;
    std::function<void(size_t)> chunkWritten_;
    QList<RecordedRequest> requests_;
    int openConnections_ = 0;
};

} // namespace brindlet::test
