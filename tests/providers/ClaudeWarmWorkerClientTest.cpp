#include "providers/ClaudeWarmWorkerClient.h"
#include "providers/AIProviderService.h"
#include "providers/ProviderError.h"
#include "support/AgentPeers.h"
#include "support/EventLoop.h"
#include "support/ManualTimerSource.h"
#include "support/Printers.h"

#include <QFileInfo>
#include <QJsonArray>

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;
using Kind = ClaudeWarmWorkerClient::StreamEvent::Kind;

namespace {

// Lines as the real program writes them (trimmed of fields nobody reads).
const QString initLine
    = uR"(out {"type":"system","subtype":"init","session_id":"s1","tools":[],"model":"claude-opus-4-8[1m]","permissionMode":"dontAsk"})"_qs;
QString deltaLine(const QString& text)
{
    return uR"(out {"type":"stream_event","event":{"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":")"_qs
        + text + uR"("}},"session_id":"s1","parent_tool_use_id":null})"_qs;
}
QString resultLine(const QString& result, bool isError = false)
{
    return uR"(out {"type":"result","subtype":"success","is_error":%1,"result":"%2","stop_reason":"end_turn"})"_qs.arg(
        isError ? u"true"_qs : u"false"_qs, result);
}

struct ParseCase : NamedRow {
    QString line;
    Kind kind;
    QString text;
};

class ClaudeStreamParsing : public ::testing::TestWithParam<ParseCase> { };

TEST_P(ClaudeStreamParsing, SortsEachLine)
{
    const auto event = ClaudeWarmWorkerClient::parseLine(GetParam().line);
    EXPECT_EQ(event.kind, GetParam().kind);
    EXPECT_EQ(event.text, GetParam().text);
}

BRINDLET_ROWS(Claude, ClaudeStreamParsing,
    ParseCase { "otherDelta",
        uR"({"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"input_json_delta","partial_json":"{"}}})"_qs,
        Kind::ignored, {} },
    ParseCase { "assistantIgnored", uR"({"type":"assistant","message":{"content":[]}})"_qs, Kind::ignored, {} },
    ParseCase { "errorWithoutText", uR"({"type":"result","is_error":true})"_qs, Kind::failure,
        u"Claude could not complete the request."_qs },
    ParseCase { "errorSubtype",
        uR"({"type":"result","subtype":"error_max_turns","is_error":false,"error":"Too many turns"})"_qs, Kind::failure,
        u"Too many turns"_qs },
    ParseCase { "errorLine", uR"({"type":"error"})"_qs, Kind::failure, u"Claude reported an error."_qs },
    ParseCase { "notJson", u"Warning: something"_qs, Kind::ignored, {} },
    ParseCase { "typeNotString", uR"({"type":5})"_qs, Kind::ignored, {} });

class ClaudeWorker : public ::testing::Test {
protected:
    AgentPeers peers;
    ClaudeWarmWorkerClient client;
    QStringList previews;

    ~ClaudeWorker() override
    {
        if (client.worker())
            client.worker()->shutDown();
        cancelAllTasks();
        drainEvents();
    }
    PartialTextHandler recorder()
    {
        return [this](QString text) {
            previews << text;
            return finishedTask();
        };
    }
    QString outcome() { return runOutcome(client.generate(u"Say \"hi\""_qs, 10s, recorder()), 20s); }
    qint64 workerPID() const { return client.worker() ? client.worker()->processID() : 0; }
};

TEST_F(ClaudeWorker, WarmRequestStreamsAndTheNextOneRunsOnAFreshStartedWorker)
{
    peers.script({ u"read-line"_qs, initLine, deltaLine(u"Hi"_qs), deltaLine(u" there"_qs), resultLine(u"Hi there!"_qs),
        u"read-line"_qs });
    runTask(client.prepare());
    const qint64 first = workerPID();
    ASSERT_GT(first, 0);
    EXPECT_EQ(outcome(), u"ok:Hi there!"_qs);
    EXPECT_EQ(previews, (QStringList { u"Hi"_qs, u"Hi there"_qs, u"Hi there!"_qs }));
    EXPECT_EQ(peers.input(first),
        QByteArray(R"({"type":"user","message":{"role":"user","content":"Say \"hi\""},"parent_tool_use_id":null})"
                   "\n"));
    const QJsonObject start = peers.starts().value(0);
    EXPECT_EQ(start[u"arguments"_qs].toArray().at(3).toString(), QString()); // --tools ""
    EXPECT_EQ(start[u"arguments"_qs].toArray().last().toString(), u"--verbose"_qs);
    EXPECT_TRUE(start[u"cwd"_qs].toString().contains(u"Brindlet-ClaudeWorker-"_qs));

    // The used worker is gone, and a fresh one is already up before anyone asks.
    ASSERT_TRUE(runUntil([&] { return workerPID() != 0 && workerPID() != first; }));
    EXPECT_TRUE(runUntil([&] { return AgentPeers::isGone(first); }));
    EXPECT_TRUE(runUntil([&] { return !QFileInfo::exists(start[u"cwd"_qs].toString()); }));
    const qint64 second = workerPID();
    previews.clear();
    EXPECT_EQ(outcome(), u"ok:Hi there!"_qs);
    EXPECT_FALSE(peers.input(second).isEmpty());
}

TEST_F(ClaudeWorker, AFinalTextEqualToTheLastPreviewIsNotShownAgain)
{
    peers.script({ u"read-line"_qs, deltaLine(u"Hi"_qs), deltaLine(u" there"_qs), resultLine(u"Hi there\\n"_qs),
        u"read-line"_qs });
    EXPECT_EQ(outcome(), u"ok:Hi there"_qs);
    EXPECT_EQ(previews, (QStringList { u"Hi"_qs, u"Hi there"_qs }));
}

TEST_F(ClaudeWorker, OneRequestAtATimeAndCancellationKillsTheWorker)
{
    peers.script({ u"read-line"_qs, u"hang"_qs });
    runTask(client.prepare());
    const qint64 used = workerPID();
    QString first;
    TaskHandle handle = spawnOutcome(client.generate(u"x"_qs, 60s, recorder()), &first);
    ASSERT_TRUE(runUntil([&] { return !peers.input(used).isEmpty(); }));
    EXPECT_EQ(outcome(), u"Claude is already completing another request."_qs);
    handle.cancel();
    ASSERT_TRUE(runUntil([&] { return first == u"The operation was cancelled."_qs; }));
    EXPECT_TRUE(runUntil([&] { return AgentPeers::isGone(used); }));
    EXPECT_TRUE(runUntil([&] { return workerPID() != 0 && workerPID() != used; }));
}

// ---- the service's decision to fall back to a one-shot run ----

class ClaudeFallback : public ::testing::Test {
protected:
    AgentPeers peers;
    AIProviderService service;
    QStringList previews;

    ~ClaudeFallback() override
    {
        if (service.claudeClient().worker())
            service.claudeClient().worker()->shutDown();
        cancelAllTasks();
        drainEvents();
    }
    Task<QString> generate()
    {
        return service.generate(u"Fix"_qs, ProviderKind::claude, {}, [this](QString text) {
            previews << text;
            return finishedTask();
        });
    }
    QString outcome() { return runOutcome(generate(), 30s); }
    int oneShotRuns() const
    {
        int runs = 0;
        for (const QJsonObject& start : peers.starts())
            runs += start[u"arguments"_qs].toArray().contains(u"text"_qs);
        return runs;
    }
};

TEST_F(ClaudeFallback, AWorkerThatDiesIsReplacedByOneShotRunWithOnePreview)
{
    peers.script({ u"if-arg stream-json read-line"_qs, u"if-arg stream-json "_qs + deltaLine(u"partial"_qs),
        u"if-arg stream-json crash"_qs, u"read-all"_qs, u"out One-shot answer"_qs });
    EXPECT_EQ(outcome(), u"ok:One-shot answer"_qs);
    EXPECT_EQ(previews, (QStringList { u"partial"_qs, u"One-shot answer"_qs }));
    EXPECT_EQ(oneShotRuns(), 1);
    // Neither run may ask the model a second time to name its session. The worker warming up
    // meanwhile may still be writing its record.
    runUntil([&] {
        const auto starts = peers.starts();
        return std::all_of(
            starts.begin(), starts.end(), [](const QJsonObject& start) { return start.contains(u"environment"_qs); });
    });
    for (const QJsonObject& start : peers.starts())
        EXPECT_EQ(start[u"environment"_qs][u"CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC"_qs].toString(), u"1"_qs);
}

TEST_F(ClaudeFallback, SignInFailuresAreNotRetried)
{
    peers.script({ u"if-arg stream-json read-line"_qs,
        u"if-arg stream-json "_qs + resultLine(u"Failed to authenticate. API Error: 401"_qs, true), u"read-all"_qs,
        u"out should not run"_qs });
    EXPECT_EQ(outcome(), u"Failed to authenticate. API Error: 401"_qs);
    EXPECT_EQ(oneShotRuns(), 0);
}

TEST_F(ClaudeFallback, TimeOutsAreNotRetried)
{
    ManualTimerSource clock;
    peers.script({ u"if-arg stream-json read-line"_qs, u"hang"_qs });
    QString result;
    spawnOutcome(generate(), &result);
    ASSERT_TRUE(runUntil(
        [&] { return !peers.starts().isEmpty() && !peers.input(peers.starts()[0][u"pid"_qs].toInteger()).isEmpty(); }));
    clock.advance(120s);
    ASSERT_TRUE(runUntil([&] { return !result.isEmpty(); }));
    EXPECT_EQ(result, u"The provider did not respond within two minutes."_qs);
    EXPECT_EQ(oneShotRuns(), 0);
}

} // namespace
