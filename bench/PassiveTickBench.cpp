// Accessibility messages and time per passive monitoring tick: a focused native field, a
// deferred host's window served from the cache, and the same host cold (walked in full).

#include "RatioReporter.h"
#include "platform/AccessibilityVocabulary.h"
#include "support/DesktopScenes.h"

#include <QCoreApplication>

using namespace brindlet;
using namespace brindlet::test;

namespace {

void reportMessages(benchmark::State& state, const SimulatedDesktop& desktop, int before)
{
    state.counters["ax_messages_per_tick"]
        = benchmark::Counter(double(desktop.accessibilityMessages - before) / double(state.iterations()));
}

void nativeFieldTick(benchmark::State& state)
{
    DesktopScene scene;
    scene.editor(QStringLiteral("The quick brown fox jumps over the lazy dog"), { 4, 5 });
    const int before = scene.desktop.accessibilityMessages;
    for (auto _ : state)
        scene.service.monitoringTick();
    reportMessages(state, scene.desktop, before);
}
BENCHMARK(nativeFieldTick);

// A chat host's window: 150 controls ahead of the web area that holds the selection.
SimApplication& largeDeferredHost(DesktopScene& scene)
{
    SimApplication& app = scene.deferredHost();
    auto window = app.addWindow(QStringLiteral("Chat"));
    for (int i = 0; i < 150; ++i)
        window->addChild(AXRole::button);
    scene.desktop.addText(window, AXRole::webArea, QStringLiteral("Message from Ada"), { 13, 3 });
    return app;
}

void browserCachedTick(benchmark::State& state)
{
    DesktopScene scene;
    largeDeferredHost(scene);
    scene.service.monitoringTick(); // fills the cache
    const int before = scene.desktop.accessibilityMessages;
    for (auto _ : state)
        scene.service.monitoringTick();
    reportMessages(state, scene.desktop, before);
}
BENCHMARK(browserCachedTick);

void coldDeferredHostTick(benchmark::State& state)
{
    DesktopScene scene;
    largeDeferredHost(scene);
    int messages = 0;
    for (auto _ : state) {
        state.PauseTiming();
        SelectionService fresh(platformOf(scene.desktop));
        const int before = scene.desktop.accessibilityMessages;
        state.ResumeTiming();
        fresh.monitoringTick();
        messages += scene.desktop.accessibilityMessages - before;
    }
    state.counters["ax_messages_per_tick"] = benchmark::Counter(double(messages) / double(state.iterations()));
}
BENCHMARK(coldDeferredHostTick);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    return brindlet::bench::runBenchmarks(argc, argv,
        {
            { "cached browser tick vs native field tick", "browserCachedTick", "nativeFieldTick" },
            { "cold deferred host tick vs native field tick", "coldDeferredHostTick", "nativeFieldTick" },
        });
}
