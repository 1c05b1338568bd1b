#pragma once

#include "AnalyticsTransporting.h"

#include <QSet>
#include <QSslCertificate>
#include <QUrl>
#include <QVariantMap>

#include <memory>
#include <optional>

namespace brindlet {

// The only collectors analytics may ever post to.
QSet<QString> analyticsHosts();

// The endpoint named by the information key "BrindletAnalyticsURL", when it is exactly
// https://<one of hosts>/v1/analytics/events with no port, credentials, query or fragment.
// Anything else means no transport: nothing is ever sent.
std::optional<QUrl> analyticsEndpoint(const QVariantMap& information, const QSet<QString>& hosts = analyticsHosts());

// How a test reaches a collector it runs on the loopback under one of the allowed names.
struct AnalyticsRoute {
    std::optional<std::pair<QString, quint16>> connectTo;
    QList<QSslCertificate> extraCertificateAuthorities;
};

// Posts {"events":[…]} and accepts only 202; no cookie, cache or credentials.
class HttpsAnalyticsTransport final : public AnalyticsTransporting {
public:
    explicit HttpsAnalyticsTransport(QUrl endpoint, AnalyticsRoute route = {});
    Task<void> send(QList<AnalyticsEventRequest> requests) override;

private:
    QUrl endpoint_;
    AnalyticsRoute route_;
};

// The transport for this build: present only for a valid endpoint.
std::unique_ptr<AnalyticsTransporting> makeAnalyticsTransport(const QVariantMap& information);

} // namespace brindlet
