// The Ollama client's streaming path against a raw socket read of the same stream, both served
// by the fake server in this process: latency from the first chunk on the wire to the first
// preview, and the cost of a long stream per chunk.

#include "RatioReporter.h"
#include "providers/OllamaClient.h"
#include "support/EventLoop.h"
#include "support/FakeHttpServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpSocket>

using namespace brindlet;
using namespace brindlet::test;

namespace {

constexpr int longStreamChunks = 2000;

FakeHttpServer& server()
{
    static FakeHttpServer* instance = new FakeHttpServer;
    return *instance;
}

QList<QString> pieces(int count)
{
    QList<QString> words;
    for (int i = 0; i < count; ++i)
        words << QStringLiteral(" word%1").arg(i);
    return words;
}

Task<void> generateOnce(OllamaClient* client, qint64* firstPreviewAt, QElapsedTimer* clock, bool* done)
{
    PartialTextHandler onPartialText = [firstPreviewAt, clock](QString) -> Task<void> {
        if (*firstPreviewAt < 0)
            *firstPreviewAt = clock->nsecsElapsed();
        return finishedTask();
    };
    // A braced temporary inside a co_await expression is destroyed twice by g++ 12: use locals.
    const ProviderConfiguration configuration { server().baseURL(), QStringLiteral("llama3.2") };
    const QString prompt = QStringLiteral("Write");
    try {
        co_await client->generate(prompt, configuration, onPartialText);
    } catch (...) {
    }
    *done = true;
}

// Reads the same response with nothing but a socket: headers, chunks, lines.
struct RawRead {
    QTcpSocket socket;
    QByteArray buffer;
    qint64 firstLineAt = -1;
    int lines = 0;
    bool done = false;

    void start(QElapsedTimer* clock)
    {
        QObject::connect(&socket, &QTcpSocket::readyRead, [this, clock] {
            buffer += socket.readAll();
            if (firstLineAt < 0 && buffer.indexOf("}\n", buffer.indexOf("\r\n\r\n")) > 0)
                firstLineAt = clock->nsecsElapsed();
        });
        QObject::connect(&socket, &QTcpSocket::disconnected, [this] {
            buffer += socket.readAll();
            lines = int(buffer.count("}\n"));
            done = true;
        });
        socket.connectToHost(QHostAddress::LocalHost, server().port());
        const QByteArray body = "{\"model\":\"llama3.2\",\"prompt\":\"Write\",\"stream\":true}";
        socket.write("POST /api/generate HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                     "Content-Length: "
            + QByteArray::number(body.size()) + "\r\n\r\n" + body);
    }
};

// Time from the server handing the first chunk to the socket to the reader seeing it.
qint64 firstChunkWrittenAt = -1;

void armFirstChunkClock(QElapsedTimer* clock)
{
    firstChunkWrittenAt = -1;
    server().setChunkWritten([clock](size_t index) {
        if (index == 0)
            firstChunkWrittenAt = clock->nsecsElapsed();
    });
}

void clientFirstPreview(benchmark::State& state)
{
    server().respondWith(FakeResponse::stream(pieces(3)));
    OllamaClient client;
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        armFirstChunkClock(&clock);
        qint64 firstPreviewAt = -1;
        bool done = false;
        spawn(generateOnce(&client, &firstPreviewAt, &clock, &done));
        runUntil([&] { return done; });
        state.SetIterationTime(double(firstPreviewAt - firstChunkWrittenAt) / 1e9);
    }
}
BENCHMARK(clientFirstPreview)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(300);

void rawFirstLine(benchmark::State& state)
{
    server().respondWith(FakeResponse::stream(pieces(3)));
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        armFirstChunkClock(&clock);
        RawRead raw;
        raw.start(&clock);
        runUntil([&] { return raw.done; });
        state.SetIterationTime(double(raw.firstLineAt - firstChunkWrittenAt) / 1e9);
    }
}
BENCHMARK(rawFirstLine)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(300);

void clientLongStream(benchmark::State& state)
{
    server().respondWith(FakeResponse::stream(pieces(longStreamChunks)));
    server().setChunkWritten(nullptr);
    OllamaClient client;
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        qint64 firstPreviewAt = -1;
        bool done = false;
        spawn(generateOnce(&client, &firstPreviewAt, &clock, &done));
        runUntil([&] { return done; });
    }
    state.counters["chunks"] = longStreamChunks;
}
BENCHMARK(clientLongStream)->Unit(benchmark::kMillisecond)->Iterations(20);

void rawLongStream(benchmark::State& state)
{
    server().respondWith(FakeResponse::stream(pieces(longStreamChunks)));
    server().setChunkWritten(nullptr);
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        RawRead raw;
        raw.start(&clock);
        runUntil([&] { return raw.done; });
        if (raw.lines != longStreamChunks + 1)
            state.SkipWithError("raw read lost lines");
    }
}
BENCHMARK(rawLongStream)->Unit(benchmark::kMillisecond)->Iterations(20);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    return brindlet::bench::runBenchmarks(argc, argv,
        {
            { "first chunk to first preview vs raw socket first line", "clientFirstPreview/iterations:300/manual_time",
                "rawFirstLine/iterations:300/manual_time" },
            { "2000-chunk stream through the client vs raw socket read", "clientLongStream/iterations:20",
                "rawLongStream/iterations:20" },
        });
}
