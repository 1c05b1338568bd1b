#include "analytics/AnalyticsClient.h"
#include "analytics/HttpsAnalyticsTransport.h"
#include "settings/InMemoryDefaultsStore.h"
#include "support/EventLoop.h"
#include "support/FakeHttpServer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

const QSet<QString> testHosts = { u"collector.test"_qs };

QVariantMap informationWith(const QString& url)
{
    return { { u"BrindletAnalyticsURL"_qs, url } };
}

TEST(AnalyticsEndpoint, OnlyTheExactPathOnAnAllowedHostOverHttpsWithoutExtrasIsAccepted)
{
    const struct {
        const char* url;
        bool accepted;
    } cases[] = {
        { "https://collector.test/v1/analytics/events", true },
        { "https://collector.test:443/v1/analytics/events", false },
        { "https://collector.test/v1/analytics/events/", false },
        { "https://collector.test/v1/analytics/events?x=1", false },
        { "https://collector.test/v1/analytics/events#top", false },
        { "http://collector.test/v1/analytics/events", false },
        { "https://user:pw@collector.test/v1/analytics/events", false },
        { "https://other.test/v1/analytics/events", false },
        { "https://collector.test.evil/v1/analytics/events", false },
        { "", false },
    };
    for (const auto& testCase : cases)
        EXPECT_EQ(analyticsEndpoint(informationWith(QString::fromLatin1(testCase.url)), testHosts).has_value(),
            testCase.accepted)
            << testCase.url;
    EXPECT_FALSE(analyticsEndpoint({ { u"BrindletAnalyticsURL"_qs, 42 } }, testHosts));
    EXPECT_FALSE(makeAnalyticsTransport({})) << "no endpoint in the build: nothing is ever sent";
}

struct Collector : ::testing::Test {
    FakeHttpServer server { true };
    HttpsAnalyticsTransport transport { QUrl(u"https://collector.test/v1/analytics/events"_qs),
        AnalyticsRoute { std::pair { u"127.0.0.1"_qs, server.port() }, { TestCertificate::shared().certificate } } };
};

TEST_F(Collector, APostCarriesTheBatchAndOnly202Counts)
{
    const AnalyticsEvent event { QUuid::createUuid(), QUuid::createUuid(), AnalyticsEventType::appLaunched,
        QDateTime::currentDateTimeUtc(), {} };
    const QList<AnalyticsEventRequest> batch
        = { AnalyticsEventRequest::from(event, u"i"_qs, { u"2.0"_qs, u"9"_qs, u"12"_qs, u"x86_64"_qs }) };
    runTask(transport.send({}));
    EXPECT_TRUE(server.requests().isEmpty()) << "an empty batch makes no request";

    server.respondWith(FakeResponse::json(202, ""));
    runTask(transport.send(batch));
    ASSERT_EQ(server.requests().size(), 1);
    const RecordedRequest& request = server.requests().front();
    EXPECT_EQ(request.method + ' ' + request.path, "POST /v1/analytics/events");
    EXPECT_EQ(request.headers.value("host"), "collector.test");
    EXPECT_EQ(request.headers.value("content-type"), "application/json");
    EXPECT_EQ(request.headers.value("user-agent"), "Brindlet/2.0");
    EXPECT_FALSE(request.headers.contains("cookie") || request.headers.contains("authorization"));
    EXPECT_EQ(request.body, encodeAnalyticsBody(batch));

    server.respondWith(FakeResponse::json(200, ""));
    EXPECT_ANY_THROW(runTask(transport.send(batch))) << "only 202 is accepted";
    HttpsAnalyticsTransport untrusted { QUrl(u"https://collector.test/v1/analytics/events"_qs),
        AnalyticsRoute { std::pair { u"127.0.0.1"_qs, server.port() }, {} } };
    server.respondWith(FakeResponse::json(202, ""));
    EXPECT_ANY_THROW(runTask(untrusted.send(batch))) << "a certificate nobody vouches for is refused";
}

TEST_F(Collector, AClientWhoseFirstDeliveryFailsSendsTheSameEventsOnceTheServerRecovers)
{
    InMemoryDefaultsStore defaults;
    int answered = 0;
    server.setHandler([&](const RecordedRequest&) { return FakeResponse::json(answered++ ? 202 : 503, ""); });
    AnalyticsClient client(defaults,
        std::make_unique<HttpsAnalyticsTransport>(QUrl(u"https://collector.test/v1/analytics/events"_qs),
            AnalyticsRoute { std::pair { u"127.0.0.1"_qs, server.port() }, { TestCertificate::shared().certificate } }),
        AnalyticsAppIdentity::current({}));
    runTask(client.start(true));
    EXPECT_EQ(client.pending().size(), 2);
    EXPECT_TRUE(client.isRetryScheduled());
    runTask(client.record(AnalyticsEventType::workspaceOpened, {}));
    EXPECT_TRUE(client.pending().isEmpty());

    const auto events = [&](int index) {
        QStringList ids;
        for (const auto& value : QJsonDocument::fromJson(server.requests()[index].body)[u"events"].toArray())
            ids << value[u"eventId"].toString() + u' ' + value[u"eventType"].toString();
        return ids;
    };
    ASSERT_EQ(server.requests().size(), 2);
    EXPECT_EQ(events(1).mid(0, 2), events(0));
    EXPECT_EQ(events(1).size(), 4) << "DAILY_ACTIVE and WORKSPACE_OPENED follow";
    runTask(client.setEnabled(false)); // no retry left waiting
}

} // namespace
