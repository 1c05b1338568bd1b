#include "HttpsAnalyticsTransport.h"

#include "net/HttpExchange.h"
#include "net/NetworkError.h"

#include <QTimer>

namespace brindlet {

namespace {

constexpr std::chrono::seconds requestTimeout { 8 };
constexpr std::chrono::seconds resourceTimeout { 15 };

} // namespace

QSet<QString> analyticsHosts()
{
    return { QStringLiteral("analytics.brindlet.app"), QStringLiteral("analytics-staging.brindlet.app") };
}

std::optional<QUrl> analyticsEndpoint(const QVariantMap& information, const QSet<QString>& hosts)
{
    const QVariant configured = information.value(QStringLiteral("BrindletAnalyticsURL"));
    if (configured.typeId() != QMetaType::QString)
        return std::nullopt;
    const QUrl url(configured.toString(), QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != QLatin1String("https") || !url.userInfo().isEmpty() || url.port() != -1
        || url.hasQuery() || url.hasFragment() || url.path() != QLatin1String("/v1/analytics/events")
        || !hosts.contains(url.host()))
        return std::nullopt;
    return url;
}

HttpsAnalyticsTransport::HttpsAnalyticsTransport(QUrl endpoint, AnalyticsRoute route)
    : endpoint_(std::move(endpoint))
    , route_(std::move(route))
{
}

Task<void> HttpsAnalyticsTransport::send(QList<AnalyticsEventRequest> requests)
{
    if (requests.isEmpty())
        co_return;
    HttpRequest request;
    request.method = "POST";
    request.url = endpoint_;
    request.contentType = "application/json";
    request.headers = { { "User-Agent", "Brindlet/" + requests.first().appVersion.toUtf8() } };
    request.body = encodeAnalyticsBody(requests);
    request.connectTo = route_.connectTo;
    request.extraCertificateAuthorities = route_.extraCertificateAuthorities;
    request.transferTimeout = requestTimeout;
    HttpExchange exchange(std::move(request));
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, [&exchange] { exchange.abort(); });
    limit.start(std::chrono::milliseconds(resourceTimeout));
    const int status = co_await exchange.status();
    if (status != 202)
        throw NetworkError(QNetworkReply::UnknownServerError,
            QStringLiteral("The analytics collector answered %1 instead of 202.").arg(status));
}

std::unique_ptr<AnalyticsTransporting> makeAnalyticsTransport(const QVariantMap& information)
{
    if (const auto endpoint = analyticsEndpoint(information))
        return std::make_unique<HttpsAnalyticsTransport>(*endpoint);
    return nullptr;
}

} // namespace brindlet
