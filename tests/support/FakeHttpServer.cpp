#include "FakeHttpServer.h"

#include "domain/JsonWriter.h"

#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QSslConfiguration>
#include <QSslServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>

namespace brindlet::test {

FakeResponse FakeResponse::stream(const QList<QString>& pieces, std::chrono::milliseconds delay, bool withDoneLine)
{
    FakeResponse response;
    for (const QString& piece : pieces) {
        QByteArray line("{\"model\":\"llama3.2\",\"created_at\":\"2026-11-22T10:00:00Z\",\"response\":");
        JsonWriter::appendString(line, piece);
        line += ",\"done\":false}\n";
        response.chunks.push_back({ line, delay });
    }
    if (withDoneLine) {
        response.chunks.push_back(
            { "{\"model\":\"llama3.2\",\"created_at\":\"2026-11-22T10:00:01Z\",\"response\":\"\",\"done\":true,"
              "\"done_reason\":\"stop\",\"total_duration\":123456}\n",
                delay });
    }
    return response;
}

FakeResponse FakeResponse::lines(const QList<QByteArray>& rawLines, std::chrono::milliseconds delay)
{
    FakeResponse response;
    for (const QByteArray& line : rawLines)
        response.chunks.push_back({ line + '\n', delay });
    return response;
}

FakeResponse FakeResponse::json(int status, const QByteArray& body)
{
    FakeResponse response;
    response.status = status;
    response.contentType = "application/json; charset=utf-8";
    response.chunks.push_back({ body, {} });
    return response;
}

FakeResponse FakeResponse::bytes(const QByteArray& reply, std::chrono::milliseconds delay)
{
    FakeResponse response;
    response.verbatim = true;
    for (const char byte : reply)
        response.chunks.push_back({ QByteArray(1, byte), delay });
    return response;
}

quint16 closedLoopbackPort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        qFatal("no free loopback port");
    return probe.serverPort(); // closed when the probe goes
}

const TestCertificate& TestCertificate::shared()
{
    static const TestCertificate made = [] {
        QTemporaryDir dir;
        const QString key = dir.filePath(u"key.pem"_qs), certificate = dir.filePath(u"cert.pem"_qs);
        QProcess openssl;
        openssl.start(u"openssl"_qs,
            { u"req"_qs, u"-x509"_qs, u"-newkey"_qs, u"ec"_qs, u"-pkeyopt"_qs, u"ec_paramgen_curve:prime256v1"_qs,
                u"-nodes"_qs, u"-days"_qs, u"2"_qs, u"-subj"_qs, u"/CN=Brindlet test"_qs, u"-addext"_qs,
                u"subjectAltName=IP:127.0.0.1,DNS:collector.test,DNS:updates.test"_qs, u"-keyout"_qs, key, u"-out"_qs,
                certificate });
        if (!openssl.waitForFinished(30'000) || openssl.exitCode() != 0)
            qFatal("openssl could not make the test certificate: %s", openssl.readAllStandardError().constData());
        QFile keyFile(key), certificateFile(certificate);
        if (!keyFile.open(QIODevice::ReadOnly) || !certificateFile.open(QIODevice::ReadOnly))
            qFatal("the test certificate is unreadable");
        return TestCertificate { QSslCertificate(certificateFile.readAll()), QSslKey(keyFile.readAll(), QSsl::Ec) };
    }();
    return made;
}

FakeHttpServer::FakeHttpServer(bool tls)
{
    if (tls) {
        auto secure = std::make_unique<QSslServer>();
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setLocalCertificate(TestCertificate::shared().certificate);
        configuration.setPrivateKey(TestCertificate::shared().key);
        configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
        secure->setSslConfiguration(configuration);
        server_ = std::move(secure);
    } else {
        server_ = std::make_unique<QTcpServer>();
    }
    connect(server_.get(), &QTcpServer::pendingConnectionAvailable, this, [this] { accept(); });
    if (!server_->listen(QHostAddress::LocalHost, 0))
        qFatal("the fake HTTP server could not listen on 127.0.0.1");
}

FakeHttpServer::~FakeHttpServer()
{
    server_->close();
}

QString FakeHttpServer::baseURL() const
{
    const bool tls = dynamic_cast<QSslServer*>(server_.get());
    return (tls ? u"https"_qs : u"http"_qs) + QStringLiteral("://127.0.0.1:%1").arg(port());
}

void FakeHttpServer::respondWith(FakeResponse response)
{
    handler_ = [response](const RecordedRequest&) { return response; };
}

void FakeHttpServer::accept()
{
    while (QTcpSocket* socket = server_->nextPendingConnection()) {
        ++openConnections_;
        auto* buffer = new QByteArray;
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] { serve(socket, buffer); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket, buffer] {
            --openConnections_;
            delete buffer;
            socket->deleteLater();
        });
    }
}

void FakeHttpServer::serve(QTcpSocket* socket, QByteArray* buffer)
{
    *buffer += socket->readAll();
    const qsizetype headerEnd = buffer->indexOf("\r\n\r\n");
    if (headerEnd < 0)
        return;
    RecordedRequest request;
    const QList<QByteArray> headerLines = buffer->left(headerEnd).split('\n');
    const QList<QByteArray> requestLine = headerLines.value(0).trimmed().split(' ');
    request.method = requestLine.value(0);
    request.path = requestLine.value(1);
    for (qsizetype i = 1; i < headerLines.size(); ++i) {
        const qsizetype colon = headerLines[i].indexOf(':');
        if (colon > 0)
            request.headers.insert(
                headerLines[i].left(colon).trimmed().toLower(), headerLines[i].mid(colon + 1).trimmed());
    }
    const qsizetype length = request.headers.value("content-length", "0").toLongLong();
    if (buffer->size() < headerEnd + 4 + length)
        return;
    request.body = buffer->mid(headerEnd + 4, length);
    buffer->clear();
    disconnect(socket, &QTcpSocket::readyRead, this, nullptr);
    requests_.append(request);

    FakeResponse response = handler_ ? handler_(request) : FakeResponse::json(404, "{\"error\":\"no handler\"}");
    if (response.verbatim)
        return writeChunks(socket, std::move(response), 0);
    QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + " Scripted\r\n";
    head += "Content-Type: " + response.contentType + "\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n";
    socket->write(head);
    writeChunks(socket, std::move(response), 0);
}

void FakeHttpServer::writeChunks(QTcpSocket* socket, FakeResponse response, size_t index)
{
    QPointer<QTcpSocket> guard(socket);
    while (index < response.chunks.size()) {
        const auto& chunk = response.chunks[index];
        if (chunk.delay.count() > 0) {
            auto rest = response;
            rest.chunks[index].delay = std::chrono::milliseconds(0);
            QTimer::singleShot(chunk.delay, this, [this, guard, rest, index] {
                if (guard && guard->state() == QAbstractSocket::ConnectedState)
                    writeChunks(guard, rest, index);
            });
            return;
        }
        socket->write(response.verbatim ? chunk.bytes
                                        : QByteArray::number(chunk.bytes.size(), 16) + "\r\n" + chunk.bytes + "\r\n");
        socket->flush();
        if (chunkWritten_)
            chunkWritten_(index);
        ++index;
    }
    if (response.hang)
        return;
    if (!response.dropAfterChunks && !response.verbatim)
        socket->write("0\r\n\r\n");
    socket->disconnectFromHost();
}

} // namespace brindlet::test
