#include "analytics/AnalyticsClient.h"
#include "settings/InMemoryDefaultsStore.h"
#include "support/EventLoop.h"
#include "support/ManualTimerSource.h"
#include "tasks/Completion.h"

#include <gtest/gtest.h>

#include <deque>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

const QString pendingKey = QStringLiteral("analytics.pendingEvents");
const QStringList allKeys = { pendingKey, QStringLiteral("analytics.installID"),
    QStringLiteral("analytics.firstLaunchRecorded"), QStringLiteral("analytics.activeDay") };

// Accepts or refuses each attempt as told (accepting when told nothing); one attempt can be held
// open so that a test acts while a batch is on its way.
class ScriptedTransport final : public AnalyticsTransporting {
public:
    std::vector<QList<AnalyticsEventRequest>> attempts;
    std::deque<bool> answers;
    bool holdNext = false;
    std::optional<Completion<bool>> held;

    Task<void> send(QList<AnalyticsEventRequest> requests) override
    {
        attempts.push_back(std::move(requests));
        bool accepted = true;
        if (std::exchange(holdNext, false)) {
            held.emplace();
            accepted = co_await held->wait();
        } else if (!answers.empty()) {
            accepted = answers.front();
            answers.pop_front();
        }
        if (!accepted)
            throw std::runtime_error("refused");
    }
    QStringList types(size_t attempt) const
    {
        QStringList names;
        for (const auto& request : attempts.at(attempt))
            names << request.eventType;
        return names;
    }
};

struct ClientFixture : ::testing::Test {
    ManualTimerSource timers;
    InMemoryDefaultsStore defaults;
    QDateTime now = QDateTime(QDate(2026, 11, 23), QTime(12, 0), Qt::UTC);
    ScriptedTransport* transport = nullptr;
    std::unique_ptr<AnalyticsClient> client;

    void SetUp() override { makeClient(true); }
    void TearDown() override
    {
        client.reset();
        cancelAllTasks();
        drainEvents();
    }
    void makeClient(bool withTransport)
    {
        client.reset();
        auto owned = withTransport ? std::make_unique<ScriptedTransport>() : nullptr;
        transport = owned.get();
        client = std::make_unique<AnalyticsClient>(defaults, std::move(owned),
            AnalyticsAppIdentity { u"1.2.0"_qs, u"7"_qs, u"12"_qs, u"x86_64"_qs }, [this] { return now; });
    }
    void run(Task<void> task) { runTask(std::move(task)); }
    void record(AnalyticsEventType type = AnalyticsEventType::generationCompleted) { run(client->record(type, {})); }
    qsizetype stored() const { return decodeAnalyticsQueue(*defaults.dataForKey(pendingKey)).value().size(); }
};

TEST_F(ClientFixture, TheQueueKeepsTheNewest200AndDropsEventsOlderThan30Days)
{
    makeClient(false);
    run(client->start(true)); // FIRST_LAUNCH, APP_LAUNCHED
    for (int i = 0; i < 199; ++i)
        record();
    ASSERT_EQ(client->pending().size(), 200);
    EXPECT_EQ(client->pending().front().type, AnalyticsEventType::appLaunched) << "the oldest went first";
    EXPECT_EQ(stored(), 200);
    EXPECT_FALSE(client->isFlushing()) << "without a transport nothing is sent";

    // Exactly 30 days old stays; a second more goes at the next launch.
    const QDateTime first = client->pending().front().occurredAt;
    now = first.addSecs(AnalyticsClient::ageLimitSeconds);
    makeClient(false);
    run(client->start(true));
    EXPECT_EQ(client->pending().front().occurredAt, first);
    now = now.addSecs(1);
    makeClient(false);
    run(client->start(true));
    EXPECT_GT(client->pending().front().occurredAt, first);
}

TEST_F(ClientFixture, ABacklogGoesOutInBatchesOf50WithTheInstallIdentifierOfTheDay)
{
    makeClient(false);
    run(client->start(true));
    for (int i = 0; i < 118; ++i)
        record();
    makeClient(true); // a later build with an endpoint delivers what was kept
    transport->answers = { true, true, true, true };
    run(client->start(true));
    ASSERT_EQ(transport->attempts.size(), 3u);
    EXPECT_EQ(transport->attempts[0].size(), 50);
    EXPECT_EQ(transport->attempts[1].size(), 50);
    EXPECT_EQ(transport->attempts[2].size(), 21);
    EXPECT_NE(transport->attempts[0][0].sessionId, transport->attempts[2][20].sessionId)
        << "kept events report the session that queued them";
    EXPECT_EQ(transport->attempts[0][0].installId, transport->attempts[2][20].installId);
    EXPECT_TRUE(client->pending().isEmpty());
    EXPECT_FALSE(defaults.objectForKey(pendingKey)) << "an empty queue removes its key";

    // The store rewrites its file at every write: an event costs one, its delivery one more.
    const int before = defaults.writes();
    record(AnalyticsEventType::generationCompleted);
    EXPECT_EQ(defaults.writes() - before, 2);
}

TEST_F(ClientFixture, RefusedBatchesStayAndAreRetriedWithDoublingDelaysUntilTheServerRecovers)
{
    transport->answers = std::deque<bool>(10, false);
    run(client->start(true));
    const QString firstID = transport->attempts[0][0].eventId;
    std::vector<qint64> waits;
    for (int i = 0; i < 8; ++i) {
        ASSERT_TRUE(client->isRetryScheduled());
        const auto before = timers.now();
        ASSERT_TRUE(runVirtually(timers, [&] { return transport->attempts.size() == size_t(i + 2); }));
        waits.push_back(std::chrono::duration_cast<std::chrono::seconds>(timers.now() - before).count());
        drainEvents();
    }
    EXPECT_EQ(waits, (std::vector<qint64> { 30, 60, 120, 240, 480, 960, 1920, 3600 }));
    EXPECT_EQ(transport->attempts.back()[0].eventId, firstID) << "a retried batch keeps its event ids";

    // A new event tries at once without lengthening the wait; then the server recovers.
    record();
    EXPECT_EQ(client->retryDelay(), 3600s);
    ASSERT_TRUE(runVirtually(
        timers, [&] { return client->pending().isEmpty(); }, 7200s));
    EXPECT_FALSE(client->isRetryScheduled());
    EXPECT_EQ(client->retryDelay(), 30s);
}

TEST_F(ClientFixture, OptingOutForgetsEverythingAndSendsNothingMoreEvenMidFlush)
{
    for (const QString& key : allKeys)
        defaults.setObject(DefaultsValue(u"left from before"_qs), key);
    run(client->start(false));
    for (const QString& key : allKeys)
        EXPECT_FALSE(defaults.objectForKey(key)) << "a start with analytics off clears " << key.toStdString();

    run(client->setEnabled(true));
    transport->holdNext = true;
    spawn(client->record(AnalyticsEventType::workspaceOpened, {}));
    ASSERT_TRUE(runUntil([&] { return transport->held.has_value(); }));
    const QString oldInstall = transport->attempts.back()[0].installId;
    record(AnalyticsEventType::presetCreated); // queued behind the batch on its way
    run(client->setEnabled(false));
    record(AnalyticsEventType::workspaceOpened);
    for (const QString& key : allKeys)
        EXPECT_FALSE(defaults.objectForKey(key)) << key.toStdString();

    // On again before the old batch is answered: the new installation's events still go out,
    // and nothing queued before the opt-out does.
    run(client->setEnabled(true));
    transport->held->resolve(true);
    ASSERT_TRUE(runUntil([&] { return transport->attempts.size() == 3 && !client->isFlushing(); }));
    EXPECT_EQ(transport->types(2), (QStringList { u"FIRST_LAUNCH"_qs, u"APP_LAUNCHED"_qs }));
    EXPECT_NE(transport->attempts[2][0].installId, oldInstall) << "a new anonymous installation";
    EXPECT_TRUE(client->pending().isEmpty());
}

TEST_F(ClientFixture, ActiveUseMarksEachUtcDayOnceBeforeTheEventThatCausedIt)
{
    makeClient(false);
    run(client->start(true));
    const auto types = [&] {
        QStringList names;
        for (const auto& event : client->pending())
            names << wireName(event.type);
        return names.mid(2);
    };
    record(AnalyticsEventType::generationCompleted);
    record(AnalyticsEventType::generationStarted);
    record(AnalyticsEventType::quickFixStarted);
    now = QDateTime(QDate(2026, 11, 23), QTime(23, 59, 59), Qt::UTC);
    record(AnalyticsEventType::presetCreated);
    now = QDateTime(QDate(2026, 11, 24), QTime(0, 0), Qt::UTC);
    record(AnalyticsEventType::workspaceOpened);
    EXPECT_EQ(types(),
        (QStringList { u"GENERATION_COMPLETED"_qs, u"DAILY_ACTIVE"_qs, u"GENERATION_STARTED"_qs,
            u"QUICK_FIX_STARTED"_qs, u"PRESET_CREATED"_qs, u"DAILY_ACTIVE"_qs, u"WORKSPACE_OPENED"_qs }));
    EXPECT_EQ(defaults.stringForKey(u"analytics.activeDay"_qs), u"2026-11-24"_qs);
}

TEST_F(ClientFixture, TheInstallIdentifierIsReadInLowerCaseAndReplacedWhenItIsNoUuid)
{
    const QString upper = u"0F8FAD5B-D9CB-469F-A165-70867728950E"_qs;
    defaults.setObject(DefaultsValue(upper), u"analytics.installID"_qs);
    EXPECT_EQ(client->installID(), upper.toLower());
    EXPECT_EQ(defaults.stringForKey(u"analytics.installID"_qs), upper);
    defaults.setObject(DefaultsValue(u"not an id"_qs), u"analytics.installID"_qs);
    const QString made = client->installID();
    EXPECT_FALSE(QUuid::fromString(made).isNull());
    EXPECT_EQ(defaults.stringForKey(u"analytics.installID"_qs), made);
}

TEST_F(ClientFixture, ADamagedStoredQueueIsIgnoredAndReplacedAtTheNextWrite)
{
    defaults.setObject(DefaultsValue(QByteArray(R"([{"id":"x","type":"APP_LAUNCHED"}])")), pendingKey);
    makeClient(false);
    EXPECT_TRUE(client->pending().isEmpty());
    EXPECT_TRUE(defaults.dataForKey(pendingKey)) << "kept until the queue is written";
    run(client->start(true));
    EXPECT_EQ(stored(), 2);
}

TEST(AnalyticsWire, TheBodyKeepsWireOrderLeavesUnsetWordsOutAndTheQueueReadsBack)
{
    AnalyticsDimensions words;
    words.surface = u"quick_hud"_qs;
    words.outcome = u"copied"_qs;
    const AnalyticsEvent event { QUuid::fromString(u"{0F8FAD5B-D9CB-469F-A165-70867728950E}"_qs),
        QUuid::fromString(u"7d444840-9dc0-11d1-b245-5ffdce74fad2"_qs), AnalyticsEventType::deliveryCompleted,
        QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5, 678), Qt::UTC), words };
    const AnalyticsAppIdentity identity { u"1.2.0"_qs, u"7"_qs, u"12"_qs, u"arm64"_qs };
    AnalyticsEvent bare = event;
    bare.dimensions = {};
    const QByteArray body = encodeAnalyticsBody({ AnalyticsEventRequest::from(event, u"i"_qs, identity),
        AnalyticsEventRequest::from(bare, u"i"_qs, identity) });
    EXPECT_TRUE(body.startsWith(
        R"({"events":[{"eventId":"0f8fad5b-d9cb-469f-a165-70867728950e","installId":"i",)"
        R"("sessionId":"7d444840-9dc0-11d1-b245-5ffdce74fad2","eventType":"DELIVERY_COMPLETED",)"
        R"("occurredAt":"2026-01-02T03:04:05.678Z","appVersion":"1.2.0","appBuild":"7","platform":"linux",)"
        R"("osMajor":"12","architecture":"arm64","dimensions":{"surface":"quick_hud","outcome":"copied"}},{)"))
        << body.constData();
    EXPECT_TRUE(body.endsWith(R"("architecture":"arm64","dimensions":{}}]})")) << body.constData();
    const auto back = decodeAnalyticsQueue(encodeAnalyticsQueue({ event, bare }));
    ASSERT_TRUE(back);
    ASSERT_EQ(back->size(), 2);
    EXPECT_EQ((*back)[0].occurredAt, event.occurredAt);
    EXPECT_EQ((*back)[0].dimensions, words);
    EXPECT_EQ((*back)[1].id, event.id);
}

} // namespace
