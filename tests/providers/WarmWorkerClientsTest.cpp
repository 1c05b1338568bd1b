// Claude, Cursor and Gemini through the one warm-worker mechanism: each program's own lines, as
// the real programs write them, and the same promises for all three: an answer or the
// program's own reason, a bounded wait, and no process or folder left behind.

#include "providers/AIProviderService.h"
#include "providers/ChildProcesses.h"
#include "providers/ClaudeWarmWorkerClient.h"
#include "providers/CodexAppServerClient.h"
#include "providers/CursorWarmWorkerClient.h"
#include "providers/GeminiWarmWorkerClient.h"
#include "providers/ManagedCLIProcess.h"
#include "support/AgentPeers.h"
#include "support/EventLoop.h"
#include "support/Printers.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

std::unique_ptr<WarmWorkerClient> makeClient(ProviderKind kind)
{
    if (kind == ProviderKind::cursor)
        return std::make_unique<CursorWarmWorkerClient>();
    if (kind == ProviderKind::gemini)
        return std::make_unique<GeminiWarmWorkerClient>();
    return std::make_unique<ClaudeWarmWorkerClient>();
}

// Lines as the real programs write them (trimmed of fields nobody reads).
QString claudeDelta(const QString& text)
{
    return uR"(out {"type":"stream_event","event":{"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":")"_qs
        + text + uR"("}},"session_id":"s1"})"_qs;
}
QString cursorDelta(const QString& text)
{
    return uR"(out {"type":"assistant","message":{"role":"assistant","content":[{"type":"text","text":")"_qs + text
        + uR"("}]},"session_id":"c1","timestamp_ms":1790000000000})"_qs;
}
QString geminiDelta(const QString& text)
{
    return uR"(out {"type":"message","timestamp":"2026-11-22T20:12:43.187Z","role":"assistant","content":")"_qs + text
        + uR"(","delta":true})"_qs;
}
const QString cursorListing[]
    = { u"if-arg --list-models out Available models"_qs, u"if-arg --list-models out gpt-5-low-fast - GPT-5 Low Fast"_qs,
          u"if-arg --list-models out sonnet-4-thinking-fast - Sonnet Thinking"_qs,
          u"if-arg --list-models out gpt-5-none-fast - GPT-5 Fast"_qs, u"if-arg --list-models exit 0"_qs };

QStringList scriptFor(ProviderKind kind, const QStringList& lines)
{
    QStringList script;
    if (kind == ProviderKind::cursor)
        script = QStringList(std::begin(cursorListing), std::end(cursorListing));
    // Claude reads a line and keeps its input open; the others take the whole input.
    script << (kind == ProviderKind::claude ? u"read-line"_qs : u"read-all"_qs);
    return script + lines;
}

// One request, "Say hi", and what it came to.
template <class Client> QString askOnce(Client& client, Duration timeout = 15s)
{
    return runOutcome(client.generate(u"Say hi"_qs, timeout, [](QString) { return finishedTask(); }), 20s);
}

struct ClientRow : NamedRow {
    ProviderKind kind;
    QStringList lines;
    QString expected; // "ok:" and the answer, or the failure's sentence
};

class WarmClients : public ::testing::TestWithParam<ClientRow> {
protected:
    AgentPeers peers { { u"claude"_qs, u"cursor-agent"_qs, u"gemini"_qs } };
    std::unique_ptr<WarmWorkerClient> client = makeClient(GetParam().kind);
};

TEST_P(WarmClients, AnswerOrGiveTheProgramsReasonAndLeaveNothingBehind)
{
    const ClientRow& row = GetParam();
    peers.script(scriptFor(row.kind, row.lines));
    EXPECT_EQ(askOnce(*client, 1s), row.expected);
    EXPECT_FALSE(client->isGenerating());
    // Every end replaces the worker; Gemini's next starts with its request.
    qint64 used = 0; // the first worker, which served the request (Cursor's model listing aside)
    for (const QJsonObject& start : peers.starts()) {
        if (!used && !start[u"arguments"_qs].toArray().contains(u"--list-models"_qs))
            used = start[u"pid"_qs].toInteger();
    }
    ASSERT_NE(used, 0);
    EXPECT_TRUE(runUntil([&] { return AgentPeers::isGone(used); }, 5s));
    if (row.kind != ProviderKind::gemini) {
        EXPECT_TRUE(runUntil([&] { return client->worker() && client->worker()->processID() != used; }, 5s));
    }

    // Nothing outlives the program: the next worker warming up included.
    client.reset();
    ChildProcesses::shared().endAll(ManagedCLIProcess::killDelay);
    drainEvents();
    for (const qint64 pid : peers.processIDs())
        EXPECT_TRUE(runUntil([&] { return AgentPeers::isGone(pid); }, 5s)) << pid;
    for (const QJsonObject& start : peers.starts()) {
        const QString folder = start[u"cwd"_qs].toString();
        EXPECT_TRUE(runUntil([&] { return !QFileInfo::exists(folder); }, 5s)) << folder.toStdString();
    }
}

const QString longText(65'536, u'a');

BRINDLET_ROWS(Agents, WarmClients,
    ClientRow { "cursorStreams", ProviderKind::cursor,
        { uR"(out {"type":"system","subtype":"init","model":"GPT-5 Fast","permissionMode":"default"})"_qs,
            cursorDelta(u"Hi"_qs), cursorDelta(u" there!"_qs),
            uR"(out {"type":"assistant","message":{"role":"assistant","content":[{"type":"text","text":"Hi there!"}]},"model_call_id":"m1","timestamp_ms":1})"_qs,
            uR"(out {"type":"result","subtype":"success","is_error":false,"result":"Hi there!","duration_ms":812})"_qs },
        u"ok:Hi there!"_qs },
    ClientRow { "geminiStreams", ProviderKind::gemini,
        { uR"(out {"type":"init","timestamp":"2026-11-22T20:12:43.123Z","session_id":"b3","model":"flash-lite"})"_qs,
            uR"(out {"type":"message","role":"user","content":"Say hi\n"})"_qs, geminiDelta(u"Hi"_qs),
            geminiDelta(u" there!"_qs), uR"(out {"type":"result","status":"success","stats":{"total_tokens":15}})"_qs },
        u"ok:Hi there!"_qs },
    ClientRow { "claudeNotSignedIn", ProviderKind::claude,
        { uR"(out {"type":"result","subtype":"success","is_error":true,"result":"Not logged in · Please run /login"})"_qs },
        u"Not logged in · Please run /login"_qs },
    ClientRow { "cursorNotSignedIn", ProviderKind::cursor,
        { u"err Error: Authentication required. Please run 'cursor-agent login' first."_qs, u"exit 1"_qs },
        u"Error: Authentication required. Please run 'cursor-agent login' first."_qs },
    ClientRow { "claudeWhitespaceFinal", ProviderKind::claude,
        { claudeDelta(u"Hi"_qs), uR"(out {"type":"result","subtype":"success","is_error":false,"result":"  \n "})"_qs,
            u"hang"_qs },
        u"The provider returned an empty response."_qs },
    ClientRow { "cursorCrash", ProviderKind::cursor, { cursorDelta(u"Hi"_qs), u"crash"_qs },
        u"The CLI process ended unexpectedly."_qs },
    ClientRow {
        "cursorHang", ProviderKind::cursor, { u"hang"_qs }, u"The provider did not respond within two minutes."_qs },
    ClientRow { "cursorGarbageAndALongLine", ProviderKind::cursor,
        { u"out not json at all"_qs, u"hex ff fe 0a"_qs, uR"(out {"type":7})"_qs, cursorDelta(longText),
            uR"(out {"type":"result","subtype":"success","is_error":false,"result":"ok"})"_qs },
        u"ok:ok"_qs },
    ClientRow { "geminiGarbageAndALongLine", ProviderKind::gemini,
        { u"out Ripgrep is not available."_qs, u"hex ff fe 0a"_qs, geminiDelta(longText),
            uR"(out {"type":"result","status":"success"})"_qs },
        u"ok:"_qs + longText },
    ClientRow { "geminiToolUse", ProviderKind::gemini,
        { uR"(out {"type":"tool_use","tool_name":"read_file","tool_id":"read_file__1","parameters":{}})"_qs,
            u"hang"_qs },
        u"Gemini attempted to use a tool that Brindlet disables for text-only requests."_qs },
    ClientRow { "geminiSuccessWithoutText", ProviderKind::gemini, { uR"(out {"type":"result","status":"success"})"_qs },
        u"The provider returned an empty response."_qs });

// What each program's lines mean, where the rules are each program's own.
TEST(AgentLines, AreReadAsEachProgramMeansThem)
{
    using Kind = AgentStreamEvent::Kind;
    struct Row {
        AgentStreamEvent (*parse)(const QString&);
        QString line;
        Kind kind;
        QString text;
    };
    const Row rows[] = {
        { &GeminiWarmWorkerClient::parseLine, uR"({"type":"message","role":"user","content":"Say hi"})"_qs,
            Kind::ignored, {} },
        { &GeminiWarmWorkerClient::parseLine, uR"({"type":"error","severity":"warning","message":"loop"})"_qs,
            Kind::ignored, {} },
        { &GeminiWarmWorkerClient::parseLine, uR"({"type":"error","severity":"Error","message":"Quota"})"_qs,
            Kind::failure, u"Quota"_qs },
        { &GeminiWarmWorkerClient::parseLine, uR"({"type":"error"})"_qs, Kind::failure,
            u"Gemini reported an error."_qs },
        { &GeminiWarmWorkerClient::parseLine,
            uR"({"type":"result","status":"error","error":{"type":"unknown","message":"[API Error]"}})"_qs,
            Kind::failure, u"Gemini could not complete the request."_qs },
        { &GeminiWarmWorkerClient::parseLine, uR"({"type":"result","status":"error","message":"Bad"})"_qs,
            Kind::failure, u"Bad"_qs },
        { &CursorWarmWorkerClient::parseLine,
            uR"({"type":"assistant","message":{"content":[{"type":"text","text":"Hi"}]}})"_qs, Kind::ignored,
            {} }, // no timestamp_ms: not a streamed piece
        { &CursorWarmWorkerClient::parseLine, uR"({"type":"result","subtype":"error_timeout"})"_qs, Kind::failure,
            u"Cursor could not complete the request."_qs },
        { &CursorWarmWorkerClient::parseLine, uR"({"type":"error","error":"Rate limited"})"_qs, Kind::failure,
            u"Rate limited"_qs },
    };
    for (const Row& row : rows) {
        const AgentStreamEvent event = row.parse(row.line);
        EXPECT_EQ(event.kind, row.kind) << row.line.toStdString();
        EXPECT_EQ(event.text, row.text) << row.line.toStdString();
    }

    const std::pair<QString, std::optional<QString>> listings[] = {
        { u"a-low-fast - A\nb-none-fast - B"_qs, u"b-none-fast"_qs }, // each pattern over the whole list first
        { u"Models\nx-thinking-fast - X\ny-fast - Y"_qs, u"y-fast"_qs },
        { u"x-thinking-none - X\ny-fast - Y"_qs, u"x-thinking-none"_qs },
        { u"bad id-none - X\nplain - P"_qs, std::nullopt },
    };
    for (const auto& [listing, model] : listings)
        EXPECT_EQ(CursorWarmWorkerClient::selectFastModel(listing), model) << listing.toStdString();
}

// The command lines, environments and files that keep each program to text: checked on what
// the program received.
TEST(AgentWorkers, StartConfinedToTextWithTheRequestOnTheirInput)
{
    AgentPeers peers { { u"cursor-agent"_qs, u"gemini"_qs } };
    qputenv("CURSOR_API_KEY", "cursor-key");
    qputenv("GEMINI_API_KEY", "gemini-key");
    const auto unset = qScopeGuard([] {
        qunsetenv("CURSOR_API_KEY");
        qunsetenv("GEMINI_API_KEY");
    });

    peers.script(scriptFor(
        ProviderKind::cursor, { uR"(out {"type":"result","subtype":"success","is_error":false,"result":"Hi"})"_qs }));
    CursorWarmWorkerClient cursor;
    EXPECT_EQ(askOnce(cursor), u"ok:Hi"_qs);
    EXPECT_EQ(askOnce(cursor), u"ok:Hi"_qs);
    // The starts of one program that served requests (not Cursor's model listing).
    const auto workersOf = [&](const QString& name) {
        QList<QJsonObject> found;
        for (const QJsonObject& start : peers.starts()) {
            if (start[u"name"_qs] == name && !start[u"arguments"_qs].toArray().contains(u"--list-models"_qs))
                found << start;
        }
        return found;
    };
    const QList<QJsonObject> workers = workersOf(u"cursor-agent"_qs);
    EXPECT_EQ(peers.starts().size() - workers.size(), 1); // the model is chosen once
    ASSERT_GE(workers.size(), 2);
    const QJsonArray arguments = workers[0][u"arguments"_qs].toArray();
    EXPECT_EQ(arguments.at(arguments.size() - 2).toString(), u"--model"_qs);
    EXPECT_EQ(arguments.last().toString(), u"gpt-5-none-fast"_qs);
    EXPECT_FALSE(workers[0][u"environment"_qs].toObject().contains(u"CURSOR_API_KEY"_qs));
    EXPECT_TRUE(peers.input(workers[0][u"pid"_qs].toInteger()).endsWith("\n\nSay hi"));

    peers.script(
        scriptFor(ProviderKind::gemini, { geminiDelta(u"Hi"_qs), uR"(out {"type":"result","status":"success"})"_qs }));
    GeminiWarmWorkerClient gemini;
    runTask(gemini.prepare()); // Gemini would not wait for its input: nothing starts ahead
    runUntil([] { return false; }, 200ms);
    EXPECT_TRUE(workersOf(u"gemini"_qs).isEmpty());
    EXPECT_EQ(askOnce(gemini), u"ok:Hi"_qs);
    ASSERT_EQ(workersOf(u"gemini"_qs).size(), 1);
    const QJsonObject start = workersOf(u"gemini"_qs).constFirst();
    EXPECT_EQ(peers.input(start[u"pid"_qs].toInteger()), "Say hi");
    const QJsonObject environment = start[u"environment"_qs].toObject();
    EXPECT_FALSE(environment.contains(u"GEMINI_API_KEY"_qs));
    EXPECT_EQ(environment[u"GOOGLE_GENAI_USE_GCA"_qs].toString(), u"true"_qs);

    // The files that deny every tool.
    QTemporaryDir folder;
    QFile policy(GeminiWarmWorkerClient::writePolicyFile(folder.path()));
    ASSERT_TRUE(policy.open(QIODevice::ReadOnly));
    EXPECT_EQ(policy.readAll(), "[[rule]]\ntoolName = \"*\"\ndecision = \"deny\"\npriority = 999\ninteractive = false");
    CursorWarmWorkerClient::writePermissionFile(folder.path());
    QFile permissions(folder.filePath(u".cursor/cli.json"_qs));
    ASSERT_TRUE(permissions.open(QIODevice::ReadOnly));
    const QJsonObject denied = QJsonDocument::fromJson(permissions.readAll()).object()[u"permissions"_qs].toObject();
    EXPECT_EQ(denied[u"allow"_qs].toArray(), QJsonArray {});
    EXPECT_EQ(denied[u"deny"_qs].toArray(),
        (QJsonArray { u"Shell(*)"_qs, u"Read(*)"_qs, u"Write(*)"_qs, u"WebFetch(*)"_qs, u"Mcp(*:*)"_qs }));
}

// The Codex app server as the real one talks: replies without "jsonrpc", notifications with
// "emittedAtMs", a turn/started that may come before the turn's reply, and errors it retries.
QStringList codexServer(const QStringList& turn)
{
    QStringList script { u"read-line"_qs, uR"(reply "result":{"userAgent":"brindlet/0.169.0","platformOs":"linux"})"_qs,
        uR"(out {"method":"configWarning","params":{"summary":"Codex could not find bubblewrap on PATH."},"emittedAtMs":1})"_qs,
        u"read-line"_qs, u"read-line"_qs, uR"(reply "result":{"thread":{"id":"T1","sessionId":"T1"}})"_qs,
        u"read-line"_qs,
        uR"(out {"method":"turn/started","params":{"threadId":"T1","turn":{"id":"U1"}},"emittedAtMs":2})"_qs,
        uR"(reply "result":{"turn":{"id":"U1","status":"inProgress","error":null}})"_qs };
    for (const QString& line : turn)
        script << line;
    QStringList conditional;
    for (const QString& line : script)
        conditional << u"if-arg app-server "_qs + line;
    return conditional;
}
QString codexDelta(const QString& thread, const QString& text)
{
    return uR"(out {"method":"item/agentMessage/delta","params":{"threadId":"%1","turnId":"U1","itemId":"m1","delta":"%2"},"emittedAtMs":3})"_qs
        .arg(thread, text);
}
QString codexCompleted(const QString& status, const QString& error = u"null"_qs)
{
    return uR"(out {"method":"turn/completed","params":{"threadId":"T1","turn":{"id":"U1","status":"%1","error":%2}},"emittedAtMs":4})"_qs
        .arg(status, error);
}

class CodexServer : public ::testing::Test {
protected:
    AgentPeers peers { { u"codex"_qs } };
    CodexAppServerClient client;
    CodexServer() { qputenv("BRINDLET_SANDBOX_EXEC", SANDBOX_EXEC_PATH); }
    ~CodexServer() override { qunsetenv("BRINDLET_SANDBOX_EXEC"); }
    QList<QJsonObject> sent() const
    {
        QList<QJsonObject> messages;
        for (const QByteArray& line : peers.input(peers.starts().value(0)[u"pid"_qs].toInteger()).split('\n')) {
            if (!line.isEmpty())
                messages << QJsonDocument::fromJson(line).object();
        }
        return messages;
    }
};

TEST_F(CodexServer, ServesATurnAndPreparesTheNextThread)
{
    QStringList turn {
        uR"(out {"method":"error","params":{"error":{"message":"Reconnecting... 2/5"},"willRetry":true}})"_qs,
        codexDelta(u"OTHER"_qs, u"not ours"_qs), codexDelta(u"T1"_qs, u"Hi"_qs), codexDelta(u"T1"_qs, u" there!"_qs),
        codexCompleted(u"completed"_qs), u"read-line"_qs, u"read-line"_qs,
        uR"(out {"id":5.0,"result":{"thread":{"id":"T2"}}})"_qs, // an id as a floating-point number
        // The next request: the same server, on the thread prepared for it.
        u"read-line"_qs, uR"(reply "result":{"turn":{"id":"U2"}})"_qs, codexDelta(u"T2"_qs, u"Again"_qs),
        uR"(out {"method":"turn/completed","params":{"threadId":"T2","turn":{"status":"completed"}}})"_qs,
        u"read-line"_qs
    };
    // Notifications that arrive while a reply is awaited are kept, the last 256 of them.
    for (int i = 0; i < 300; ++i)
        turn.insert(
            0, uR"(out {"method":"thread/status/changed","params":{"threadId":"T1"},"emittedAtMs":%1})"_qs.arg(i));
    peers.script(codexServer(turn));
    EXPECT_EQ(askOnce(client, 5s), u"ok:Hi there!"_qs);
    ASSERT_TRUE(runUntil([&] { return client.preparedThreadID() == u"T2"_qs; }, 5s));
    EXPECT_EQ(askOnce(client, 5s), u"ok:Again"_qs);
    EXPECT_EQ(peers.starts().size(), 1);

    const QList<QJsonObject> messages = sent();
    ASSERT_GE(messages.size(), 6);
    EXPECT_EQ(messages[0][u"method"_qs], u"initialize"_qs);
    EXPECT_EQ(messages[0][u"params"_qs][u"clientInfo"_qs][u"name"_qs], u"brindlet"_qs);
    EXPECT_EQ(messages[1], (QJsonObject { { u"method"_qs, u"initialized"_qs }, { u"params"_qs, QJsonObject {} } }));
    EXPECT_EQ(messages[2][u"params"_qs][u"sandbox"_qs], u"read-only"_qs);
    EXPECT_EQ(messages[2][u"params"_qs][u"config"_qs][u"model_reasoning_effort"_qs], u"none"_qs);
    EXPECT_EQ(messages[3][u"params"_qs][u"input"_qs][0][u"text"_qs], u"Say hi"_qs);
    EXPECT_EQ(messages[4][u"method"_qs], u"thread/unsubscribe"_qs);
    EXPECT_EQ(messages[5][u"method"_qs], u"thread/start"_qs); // the next thread, prepared ahead
    const QJsonArray arguments = peers.starts().value(0)[u"arguments"_qs].toArray();
    EXPECT_EQ(arguments.last().toString(), u"--stdio"_qs);
}

// Every failure ends the server; the next request starts a new one.
TEST_F(CodexServer, FailuresGiveTheServersWordsAndEndIt)
{
    const std::pair<QStringList, QString> rows[] = {
        { { codexDelta(u"T1"_qs, u"Hi"_qs), codexCompleted(u"failed"_qs) },
            u"Codex could not complete the request."_qs },
        { { codexCompleted(u"failed"_qs, uR"({"message":"Quota exceeded"})"_qs) }, u"Quota exceeded"_qs },
        { { uR"(out {"method":"error","params":{"error":{"message":"unexpected status 401"},"willRetry":false}})"_qs },
            u"unexpected status 401"_qs },
        { { codexCompleted(u"completed"_qs) }, u"The provider returned an empty response."_qs },
        { { u"hang"_qs }, u"The provider did not respond within two minutes."_qs },
    };
    for (const auto& [turn, expected] : rows) {
        peers.script(codexServer(turn + QStringList { u"hang"_qs }));
        EXPECT_EQ(askOnce(client, 1s), expected);
        EXPECT_FALSE(client.server());
        EXPECT_FALSE(client.isGenerating());
    }
    // A reply that rejects the request.
    peers.script({ u"read-line"_qs, uR"(reply "error":{"code":-32600,"message":"Not initialized"})"_qs, u"hang"_qs });
    EXPECT_EQ(askOnce(client, 1s), u"Not initialized"_qs);
    for (const qint64 pid : peers.processIDs())
        EXPECT_TRUE(runUntil([&] { return AgentPeers::isGone(pid); }, 5s)) << pid;
}

// The service sends each agent provider its own way: Codex through its app server (and its
// one-shot run when the server dies), Cursor and Gemini through their clients.
TEST(AgentProviders, EachAnswersThroughTheServiceTheWayItShould)
{
    AgentPeers peers { { u"codex"_qs, u"cursor-agent"_qs, u"gemini"_qs } };
    qputenv("BRINDLET_SANDBOX_EXEC", SANDBOX_EXEC_PATH);
    const auto unset = qScopeGuard([] { qunsetenv("BRINDLET_SANDBOX_EXEC"); });
    AIProviderService service;
    const auto ask = [&](ProviderKind kind) {
        return runTask(service.generate(u"Say hi"_qs, kind, {}, [](QString) { return finishedTask(); }));
    };
    peers.script(
        codexServer({ codexDelta(u"T1"_qs, u"Codex says hi"_qs), codexCompleted(u"completed"_qs), u"hang"_qs }));
    EXPECT_EQ(ask(ProviderKind::codex), u"Codex says hi"_qs);

    // A server that dies mid-turn: the one-shot run answers.
    peers.script(codexServer({ codexDelta(u"T1"_qs, u"partial"_qs), u"crash"_qs })
        + QStringList { u"if-arg exec read-all"_qs, u"if-arg exec out One-shot says hi"_qs });
    AIProviderService fresh;
    EXPECT_EQ(runTask(fresh.generate(u"Say hi"_qs, ProviderKind::codex, {}, [](QString) { return finishedTask(); })),
        u"One-shot says hi"_qs);

    peers.script({ u"if-arg --list-models exit 0"_qs, u"read-all"_qs, cursorDelta(u"Cursor says hi"_qs),
        geminiDelta(u"Gemini says hi"_qs),
        uR"(out {"type":"result","subtype":"success","status":"success","is_error":false,"result":"Cursor says hi"})"_qs });
    EXPECT_EQ(ask(ProviderKind::cursor), u"Cursor says hi"_qs);
    EXPECT_EQ(ask(ProviderKind::gemini), u"Gemini says hi"_qs);
}

} // namespace
