// Time from generate to the first text with a warm Claude worker, against a cold one-shot run
// of the same fake program that sleeps 300 ms at start-up; the resolver's cached lookup against
// an uncached one; and brindlet-cli streaming 5 MiB as 1 KiB deltas against the same bytes as one
// delta, which stays near 1 only while each delta costs its own size and not the whole text.

#include "RatioReporter.h"
#include "providers/ClaudeWarmWorkerClient.h"
#include "providers/CodexAppServerClient.h"
#include "providers/CursorWarmWorkerClient.h"
#include "providers/GeminiWarmWorkerClient.h"
#include "providers/ManagedCLIProcess.h"
#include "support/AgentPeers.h"
#include "support/EventLoop.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

const QStringList peerScript {
    u"sleep 300"_qs,
    u"if-arg stream-json read-line"_qs,
    uR"(if-arg stream-json out {"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"text_delta","text":"Hi"}}})"_qs,
    uR"(if-arg stream-json out {"type":"result","subtype":"success","is_error":false,"result":"Hi there"})"_qs,
    u"if-arg text read-all"_qs,
    u"if-arg text out Hi there"_qs,
};

// Any client: when the first text arrives, and when the request is done.
template <class Client> Task<void> firstText(Client* client, QElapsedTimer* clock, qint64* at, bool* done)
{
    PartialTextHandler handler = [clock, at](QString) {
        if (*at < 0)
            *at = clock->nsecsElapsed();
        return finishedTask();
    };
    co_await client->generate(u"Say hi"_qs, 10s, handler);
    *done = true;
}

void warmWorkerFirstDelta(benchmark::State& state)
{
    AgentPeers peers;
    peers.script(peerScript);
    ClaudeWarmWorkerClient client;
    for (auto _ : state) {
        state.PauseTiming();
        runTask(client.prepare());
        runUntil([] { return false; }, 400ms); // the worker has finished starting up
        state.ResumeTiming();
        QElapsedTimer clock;
        clock.start();
        qint64 at = -1;
        bool done = false;
        spawn(firstText(&client, &clock, &at, &done));
        runUntil([&] { return done; });
        state.SetIterationTime(double(at) / 1e9);
    }
    if (client.worker())
        client.worker()->shutDown();
}
BENCHMARK(warmWorkerFirstDelta)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

// A one-shot run to its end, from a fresh start of the scripted program.
void oneShotRuns(benchmark::State& state, ProviderKind kind)
{
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        ManagedCLIProcess process(10s);
        runTask(process.runToCompletion(oneShotInvocation(kind), u"Say hi"_qs));
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
    }
}

void coldOneShotFirstText(benchmark::State& state)
{
    AgentPeers peers;
    peers.script(peerScript);
    oneShotRuns(state, ProviderKind::claude);
}
BENCHMARK(coldOneShotFirstText)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

// Cursor and Gemini take their request as the whole input and have no one-shot run: their cold
// path is a client asked before any worker started. Gemini cannot wait for a request (its
// program would send the instructions alone), so its warm figure is its cold one.
const QStringList wholeInputScript {
    u"sleep 300"_qs,
    u"if-arg --list-models out fast-none-fast - Fast"_qs,
    u"if-arg --list-models exit 0"_qs,
    u"read-all"_qs,
    uR"(out {"type":"assistant","message":{"content":[{"type":"text","text":"Hi"}]},"timestamp_ms":1})"_qs,
    uR"(out {"type":"message","role":"assistant","content":"Hi","delta":true})"_qs,
    uR"(out {"type":"result","subtype":"success","status":"success","is_error":false,"result":"Hi there"})"_qs,
};

template <class Client> void firstDelta(benchmark::State& state, bool warm)
{
    AgentPeers peers({ u"cursor-agent"_qs, u"gemini"_qs });
    peers.script(wholeInputScript);
    std::unique_ptr<Client> client = std::make_unique<Client>();
    for (auto _ : state) {
        state.PauseTiming();
        if (warm) {
            runTask(client->prepare());
            runUntil([] { return false; }, 400ms);
        } else {
            client = std::make_unique<Client>(); // nothing started ahead
        }
        state.ResumeTiming();
        QElapsedTimer clock;
        clock.start();
        qint64 at = -1;
        bool done = false;
        spawn(firstText(client.get(), &clock, &at, &done));
        runUntil([&] { return done; });
        state.SetIterationTime(double(at) / 1e9);
    }
}
void cursorWarm(benchmark::State& state)
{
    firstDelta<CursorWarmWorkerClient>(state, true);
}
void cursorCold(benchmark::State& state)
{
    firstDelta<CursorWarmWorkerClient>(state, false);
}
void geminiWarm(benchmark::State& state)
{
    firstDelta<GeminiWarmWorkerClient>(state, true);
}
void geminiCold(benchmark::State& state)
{
    firstDelta<GeminiWarmWorkerClient>(state, false);
}
// Codex: a server started and a thread prepared ahead, against its one-shot run, both after a
// 300 ms start-up. The server answers as many turns as the benchmark asks.
QStringList codexScript()
{
    QStringList server { u"read-line"_qs, uR"(reply "result":{"userAgent":"codex"})"_qs, u"read-line"_qs,
        u"read-line"_qs, uR"(reply "result":{"thread":{"id":"T1"}})"_qs };
    for (int turn = 0; turn < 40; ++turn)
        server << u"read-line"_qs << uR"(reply "result":{"turn":{"id":"U"}})"_qs
               << uR"(out {"method":"item/agentMessage/delta","params":{"threadId":"T1","delta":"Hi"}})"_qs
               << uR"(out {"method":"turn/completed","params":{"threadId":"T1","turn":{"status":"completed"}}})"_qs
               << u"read-line"_qs << u"read-line"_qs << uR"(reply "result":{"thread":{"id":"T1"}})"_qs;
    QStringList script { u"sleep 300"_qs, u"if-arg exec read-all"_qs, u"if-arg exec out Hi there"_qs,
        u"if-arg exec exit 0"_qs };
    for (const QString& line : server)
        script << u"if-arg app-server "_qs + line;
    return script;
}

void codexWarm(benchmark::State& state)
{
    AgentPeers peers({ u"codex"_qs });
    peers.script(codexScript());
    qputenv("BRINDLET_SANDBOX_EXEC", SANDBOX_EXEC_PATH);
    CodexAppServerClient client;
    for (auto _ : state) {
        state.PauseTiming();
        runTask(client.prepare());
        runUntil([&] { return client.preparedThreadID().has_value(); }, 2s);
        state.ResumeTiming();
        QElapsedTimer clock;
        clock.start();
        qint64 at = -1;
        bool done = false;
        spawn(firstText(&client, &clock, &at, &done));
        runUntil([&] { return done; });
        state.SetIterationTime(double(at) / 1e9);
    }
}

void codexColdOneShot(benchmark::State& state)
{
    AgentPeers peers({ u"codex"_qs });
    peers.script(codexScript());
    qputenv("BRINDLET_SANDBOX_EXEC", SANDBOX_EXEC_PATH);
    oneShotRuns(state, ProviderKind::codex);
}
BENCHMARK(codexWarm)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(codexColdOneShot)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

BENCHMARK(cursorWarm)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(cursorCold)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(geminiWarm)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(geminiCold)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

// The fake is found in the last PATH entry, as an installation under a version manager would be.
void resolve(benchmark::State& state, bool shared)
{
    AgentPeers peers;
    const CLIExecutableResolver resolver(
        { { u"PATH"_qs, u"/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin:"_qs + peers.bin() } },
        QDir::homePath(), shared);
    resolver.resolve(u"claude"_qs);
    for (auto _ : state)
        benchmark::DoNotOptimize(resolver.resolve(u"claude"_qs));
}
void resolverCached(benchmark::State& state)
{
    resolve(state, true);
}
void resolverUncached(benchmark::State& state)
{
    resolve(state, false);
}
BENCHMARK(resolverCached)->Unit(benchmark::kMicrosecond);
BENCHMARK(resolverUncached)->Unit(benchmark::kMicrosecond);

// The whole command, as a user runs it, against a fake Claude that streams the text as given.
void cliStream(benchmark::State& state, qsizetype deltaSize)
{
    constexpr qsizetype total = 5 * 1024 * 1024;
    AgentPeers peers;
    QStringList script { u"read-line"_qs };
    const QString delta(deltaSize, QLatin1Char('x'));
    for (qsizetype sent = 0; sent < total; sent += deltaSize)
        script
            << uR"(out {"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"text_delta","text":"%1"}}})"_qs
                   .arg(delta);
    script << uR"(out {"type":"result","subtype":"success","is_error":false,"result":"%1"})"_qs.arg(
        QString(total, QLatin1Char('x')));
    script << u"read-line"_qs;
    peers.script(script);
    for (auto _ : state) {
        QProcess cli;
        cli.setStandardOutputFile(QProcess::nullDevice());
        cli.setStandardErrorFile(QProcess::nullDevice());
        cli.start(QStringLiteral(BRINDLET_CLI_PATH),
            { u"generate"_qs, u"--provider"_qs, u"claude"_qs, u"--instruction"_qs, u"Write"_qs });
        cli.closeWriteChannel();
        cli.waitForFinished(120'000);
        if (cli.exitCode() != 0)
            state.SkipWithError("brindlet-cli failed");
    }
}
void cliStreamIn1KiBDeltas(benchmark::State& state)
{
    cliStream(state, 1024);
}
void cliStreamInOneDelta(benchmark::State& state)
{
    cliStream(state, 5 * 1024 * 1024);
}
BENCHMARK(cliStreamIn1KiBDeltas)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(cliStreamInOneDelta)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    return brindlet::bench::runBenchmarks(argc, argv,
        {
            { "warm worker first delta vs cold one-shot (300 ms start-up)",
                "warmWorkerFirstDelta/iterations:10/manual_time", "coldOneShotFirstText/iterations:10/manual_time" },
            { "Codex: warm server first delta vs cold one-shot (300 ms start-up)",
                "codexWarm/iterations:10/manual_time", "codexColdOneShot/iterations:10/manual_time" },
            { "Cursor: warm worker first delta vs cold start (300 ms start-up)", "cursorWarm/iterations:10/manual_time",
                "cursorCold/iterations:10/manual_time" },
            { "Gemini: first delta when prepared vs cold (it cannot be kept warm)",
                "geminiWarm/iterations:10/manual_time", "geminiCold/iterations:10/manual_time" },
            { "resolver cached vs uncached lookup", "resolverCached", "resolverUncached" },
            { "brindlet-cli: 5 MiB in 1 KiB deltas vs in one delta", "cliStreamIn1KiBDeltas/iterations:3",
                "cliStreamInOneDelta/iterations:3" },
        });
}
