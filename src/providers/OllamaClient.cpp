#include "OllamaClient.h"

#include "DescribedError.h"
#include "HttpReplyReader.h"
#include "JsonWriter.h"
#include "ProviderError.h"
#include "Utf8.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkProxyFactory>

#include <algorithm>

namespace brindlet {

namespace {

// A local model server is never reached through a proxy; anything else follows the system.
class LoopbackBypassProxyFactory final : public QNetworkProxyFactory {
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override
    {
        const QString host = query.peerHostName();
        QHostAddress address;
        if (host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0
            || (address.setAddress(host) && address.isLoopback()))
            return { QNetworkProxy(QNetworkProxy::NoProxy) };
        return systemProxyForQuery(query);
    }
};

// The decoder's own complaint, in the words the platform uses for undecodable data.
[[noreturn]] void throwDecodingError()
{
    throw PlatformError(QStringLiteral("The data couldn’t be read because it isn’t in the correct format."));
}

QJsonObject decodeObject(const QByteArray& json)
{
    QJsonParseError error {};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        throwDecodingError();
    return document.object();
}

// An optional member: absent or null is nothing, any other type than the expected one fails.
std::optional<QJsonValue> optionalMember(const QJsonObject& object, const QString& key, QJsonValue::Type type)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    if (value.type() != type)
        throwDecodingError();
    return value;
}

struct StreamChunk {
    QString response;
    bool done = false;
    QString error;
};

StreamChunk decodeChunk(const QByteArray& line)
{
    const QJsonObject object = decodeObject(line);
    StreamChunk chunk;
    if (auto v = optionalMember(object, QStringLiteral("response"), QJsonValue::String))
        chunk.response = v->toString();
    if (auto v = optionalMember(object, QStringLiteral("done"), QJsonValue::Bool))
        chunk.done = v->toBool();
    if (auto v = optionalMember(object, QStringLiteral("error"), QJsonValue::String))
        chunk.error = v->toString();
    return chunk;
}

QNetworkRequest jsonPost(const QUrl& url)
{
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    request.setTransferTimeout(OllamaClient::generationTimeoutMs);
    return request;
}

} // namespace

OllamaClient::OllamaClient()
{
    network_.setProxyFactory(new LoopbackBypassProxyFactory);
}

QUrl OllamaClient::endpoint(const QString& baseAddress, const QString& path)
{
    QUrl url(baseAddress, QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")) || url.host().isEmpty())
        throw ProviderError::invalidURL();
    url.setScheme(scheme);
    QString basePath = url.path();
    if (!basePath.endsWith(QLatin1Char('/')))
        basePath += QLatin1Char('/');
    url.setPath(basePath + path);
    if (!url.isValid())
        throw ProviderError::invalidURL();
    return url;
}

Task<QString> OllamaClient::generate(
    QString prompt, ProviderConfiguration configuration, PartialTextHandler onPartialText)
{
    if (configuration.ollamaModel.isEmpty())
        throw ProviderError::unavailable(QStringLiteral("Choose an installed Ollama model in Settings."));
    const QUrl url = endpoint(configuration.ollamaURL, QStringLiteral("api/generate"));

    JsonWriter body;
    body.beginObject();
    body.key("model").string(configuration.ollamaModel);
    body.key("prompt").string(prompt);
    body.key("stream").boolean(true);
    body.key("think").boolean(false);
    body.key("keep_alive").integer(-1);
    body.endObject();

    HttpReplyReader reader(network_.post(jsonPost(url), body.take()));
    auto abortOnCancel = co_await onCancellation([&reader] { reader.abort(); });

    const auto status = co_await reader.status();
    if (status != 200)
        throw ProviderError::unavailable(QStringLiteral("Ollama could not complete the request."));

    QString accumulated;
    while (auto line = co_await reader.nextLine()) {
        co_await checkCancellation();
        if (!decodeUtf8(*line))
            throw ProviderError::unavailable(QStringLiteral("Ollama returned an invalid streaming response."));
        const StreamChunk chunk = decodeChunk(*line);
        if (!chunk.error.isEmpty())
            throw ProviderError::unavailable(chunk.error);
        accumulated += chunk.response;
        if (!chunk.response.isEmpty() && onPartialText)
            co_await onPartialText(accumulated);
        if (chunk.done)
            break;
    }
    const QString text = accumulated.trimmed();
    if (text.isEmpty())
        throw ProviderError::emptyResponse();
    co_return text;
}

Task<void> OllamaClient::preload(ProviderConfiguration configuration)
{
    if (configuration.ollamaModel.isEmpty())
        co_return;
    const QUrl url = endpoint(configuration.ollamaURL, QStringLiteral("api/generate"));

    JsonWriter body;
    body.beginObject();
    body.key("model").string(configuration.ollamaModel);
    body.key("stream").boolean(false);
    body.key("keep_alive").integer(-1);
    body.endObject();

    HttpReplyReader reader(network_.post(jsonPost(url), body.take()));
    auto abortOnCancel = co_await onCancellation([&reader] { reader.abort(); });
    const auto status = co_await reader.status();
    (void)co_await reader.readAll();
    if (status != 200)
        throw ProviderError::unavailable(QStringLiteral("Ollama could not preload the selected model."));
}

Task<QStringList> OllamaClient::models(QString ollamaURL)
{
    QNetworkRequest request(endpoint(ollamaURL, QStringLiteral("api/tags")));
    request.setTransferTimeout(modelListTimeoutMs);
    HttpReplyReader reader(network_.get(request));
    auto abortOnCancel = co_await onCancellation([&reader] { reader.abort(); });
    const auto status = co_await reader.status();
    const QByteArray body = co_await reader.readAll();
    if (status != 200)
        throw ProviderError::unavailable(QStringLiteral("Ollama did not respond."));

    const QJsonValue models = decodeObject(body).value(QStringLiteral("models"));
    if (!models.isArray())
        throwDecodingError();
    QStringList names;
    for (const QJsonValue& model : models.toArray()) {
        const QJsonValue name = model.toObject().value(QStringLiteral("name"));
        if (!model.isObject() || !name.isString())
            throwDecodingError();
        names.append(name.toString());
    }
    // Plain code-point order, case-sensitive: "Zeta" sorts before "alpha".
    std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
        const auto left = a.toUcs4();
        const auto right = b.toUcs4();
        return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end());
    });
    co_return names;
}

} // namespace brindlet
