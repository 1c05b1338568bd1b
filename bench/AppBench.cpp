// The application on a private desktop, measured from outside as a user would feel it: shortcut
// to HUD on screen (goal ≤ 100 ms), shortcut to a Quick Fix delivered with a model that answers at
// once, and the idle program's CPU (goal ≤ 0.5 %) and resident memory (goal ≤ 80 MB) after 30 s
// with a GTK editor focused, so that selection monitoring runs all along.

#include "RatioReporter.h"
#include "platform/linux/AtspiBus.h"
#include "support/AppUnderTest.h"
#include "support/EventLoop.h"
#include "support/FakeHttpServer.h"
#include "support/Keyboard.h"
#include "support/PrivateDesktop.h"
#include "support/TestEditor.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <X11/keysym.h>
#include <unistd.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

FakeHttpServer* ollama = nullptr;
AppUnderTest* app = nullptr;

bool hudVisible()
{
    return visibleWindowTitled("Brindlet quick actions").has_value();
}

void shortcutToHUD(benchmark::State& state)
{
    TestEditor editor(TestEditor::Kind::gtkEntry, u"hello world"_qs, { { 0, 5 } });
    editor.waitUntilReady();
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        pressChord({ XK_Shift_L, XK_Super_L, XK_space });
        runUntil([] { return hudVisible(); }, 5s);
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
        runUntil([] { return false; }, 200ms);
        pressChord({ XK_Escape });
        runUntil([] { return !hudVisible(); }, 5s);
    }
}
BENCHMARK(shortcutToHUD)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

void shortcutToQuickFixDelivered(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        TestEditor editor(TestEditor::Kind::gtkEntry, u"Teh cat."_qs, { { 0, 8 } });
        editor.waitUntilReady();
        state.ResumeTiming();
        QElapsedTimer clock;
        clock.start();
        pressChord({ XK_Control_L, XK_Shift_L, XK_J });
        if (!editor.waitForText(u"The cat."_qs)) {
            state.SkipWithError("the fix was not delivered");
            break;
        }
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
    }
}
BENCHMARK(shortcutToQuickFixDelivered)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

// CPU ticks of a process since it started, and its resident memory in KiB.
std::pair<qint64, qint64> usage(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    stat.open(QIODevice::ReadOnly);
    const QList<QByteArray> fields = stat.readAll().split(' ');
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    status.open(QIODevice::ReadOnly);
    qint64 rss = 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            rss = line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return { fields.value(13).toLongLong() + fields.value(14).toLongLong(), rss };
}

void idleFor30Seconds(benchmark::State& state)
{
    TestEditor editor(
        TestEditor::Kind::gtkView, u"A document the user is reading, with a word selected."_qs, { { 2, 10 } });
    editor.waitUntilReady();
    const qint64 pid = app->process().processId();
    for (auto _ : state) {
        const auto before = usage(pid);
        runUntil([] { return false; }, 30s);
        const auto after = usage(pid);
        const double seconds = double(after.first - before.first) / double(::sysconf(_SC_CLK_TCK));
        state.counters["cpu_percent"] = seconds / 30.0 * 100.0;
        state.counters["rss_MB"] = double(after.second) / 1024.0;
    }
}
BENCHMARK(idleFor30Seconds)->Unit(benchmark::kSecond)->Iterations(1);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    PrivateDesktop desktop({ PrivateDesktop::WindowManager::openbox, PrivateDesktop::Bus::session });
    if (!desktop.problem().isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(desktop.problem()));
        return 1;
    }
    AtspiBus().enable();
    FakeHttpServer server;
    server.respondWith(FakeResponse::stream({ u"The cat."_qs }));
    AppUnderTest brindletApp(server.baseURL());
    if (!brindletApp.start()) {
        std::fprintf(stderr, "Brindlet did not start.\n");
        return 1;
    }
    ollama = &server;
    app = &brindletApp;
    return brindlet::bench::runBenchmarks(argc, argv, {});
}
