#include "OllamaClient.h"

#include "OllamaStreamChunk.h"
#include "ProviderError.h"
#include "domain/DescribedError.h"
#include "domain/JsonWriter.h"
#include "net/HttpExchange.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace brindlet {

namespace {

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

HttpRequest jsonPost(const QUrl& url, QByteArray body)
{
    HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.contentType = "application/json";
    request.body = std::move(body);
    request.transferTimeout = std::chrono::milliseconds(OllamaClient::generationTimeoutMs);
    return request;
}

} // namespace

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

    HttpExchange exchange(jsonPost(url, body.take()));
    auto abortOnCancel = co_await onCancellation([&exchange] { exchange.abort(); });

    const int status = co_await exchange.status();
    if (status != 200)
        throw ProviderError::unavailable(QStringLiteral("Ollama could not complete the request."));

    QString accumulated;
    for (;;) {
        co_await checkCancellation();
        std::optional<QByteArray> awaited;
        auto line = exchange.takeBufferedLine();
        if (!line) {
            awaited = co_await exchange.nextLine();
            if (!awaited)
                break;
            line = QByteArrayView(*awaited);
        }
        if (!line->isValidUtf8())
            throw ProviderError::unavailable(QStringLiteral("Ollama returned an invalid streaming response."));
        const auto parsed = parseOllamaStreamChunk(*line, accumulated);
        if (!parsed)
            throwDecodingError();
        const OllamaStreamChunk& chunk = *parsed;
        if (!chunk.error.isEmpty())
            throw ProviderError::unavailable(chunk.error);
        if (chunk.responseLength > 0 && onPartialText)
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

    HttpExchange exchange(jsonPost(url, body.take()));
    auto abortOnCancel = co_await onCancellation([&exchange] { exchange.abort(); });
    const int status = co_await exchange.status();
    (void)co_await exchange.readAll();
    if (status != 200)
        throw ProviderError::unavailable(QStringLiteral("Ollama could not preload the selected model."));
}

Task<QStringList> OllamaClient::models(QString ollamaURL)
{
    HttpRequest request;
    request.url = endpoint(ollamaURL, QStringLiteral("api/tags"));
    request.transferTimeout = std::chrono::milliseconds(modelListTimeoutMs);
    HttpExchange exchange(std::move(request));
    auto abortOnCancel = co_await onCancellation([&exchange] { exchange.abort(); });
    const int status = co_await exchange.status();
    const QByteArray body = co_await exchange.readAll();
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
