// Capture and delivery against a real GTK text view on a private desktop: time and AT-SPI calls
// of a full capture, a passive tick and a delivery with read-back, each against one GetText
// round trip measured in the same run.

#include "RatioReporter.h"
#include "platform/AccessibilityVocabulary.h"
#include "platform/linux/LinuxDesktop.h"
#include "selection/SelectionService.h"
#include "support/EventLoop.h"
#include "support/PrivateDesktop.h"
#include "support/TestEditor.h"

#include <QGuiApplication>
#include <QLoggingCategory>

using namespace brindlet;
using namespace brindlet::test;

namespace {

struct Scene {
    LinuxDesktop desktop;
    SelectionService selection { { &desktop.accessibility(), &desktop.x11(), &desktop.x11(), &desktop.log(),
        &desktop.pasteboard(), &desktop.x11() } };
    std::unique_ptr<TestEditor> editor;
    ElementHandle field;
};

Scene* scene = nullptr;

void reportCalls(benchmark::State& state, std::uint64_t before)
{
    state.counters["atspi_calls"]
        = benchmark::Counter(double(scene->desktop.bus().callCount() - before) / double(state.iterations()));
}

// Answers are remembered within one turn of the event loop: each iteration is a turn of its own.
void getTextRoundTrip(benchmark::State& state)
{
    for (auto _ : state) {
        QCoreApplication::processEvents();
        benchmark::DoNotOptimize(scene->desktop.accessibility().copyAttributeValue(scene->field, AXAttribute::value));
    }
}
BENCHMARK(getTextRoundTrip)->Unit(benchmark::kMicrosecond);

void fullCapture(benchmark::State& state)
{
    const auto before = scene->desktop.bus().callCount();
    for (auto _ : state) {
        QCoreApplication::processEvents();
        benchmark::DoNotOptimize(scene->selection.capture(true));
    }
    reportCalls(state, before);
}
BENCHMARK(fullCapture)->Unit(benchmark::kMicrosecond);

void passiveTick(benchmark::State& state)
{
    const auto before = scene->desktop.bus().callCount();
    for (auto _ : state) {
        QCoreApplication::processEvents();
        scene->selection.monitoringTick();
    }
    reportCalls(state, before);
}
BENCHMARK(passiveTick)->Unit(benchmark::kMicrosecond);

// Each iteration writes one character in place of the selection, then at the cursor after it,
// proven by reading it back. The delivery's own pauses (activation, settling) are part of it.
void deliveryWithReadBack(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const auto snapshot = scene->selection.capture(true);
        state.ResumeTiming();
        try {
            if (!snapshot)
                throw std::runtime_error("nothing captured");
            runTask(scene->selection.deliver(QStringLiteral("x"), *snapshot, DeliveryPreference::smart));
        } catch (...) {
            state.SkipWithError("the delivery was not proven");
            break;
        }
    }
}
BENCHMARK(deliveryWithReadBack)->Unit(benchmark::kMicrosecond)->Iterations(10);

} // namespace

int main(int argc, char** argv)
{
    PrivateDesktop desktop({ PrivateDesktop::WindowManager::openbox, PrivateDesktop::Bus::session });
    if (!desktop.problem().isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(desktop.problem()));
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    AtspiBus().enable();
    QLoggingCategory::setFilterRules(QStringLiteral("com.brindlet.native.*.info=false"));
    Scene theScene;
    scene = &theScene;
    QString text;
    for (int paragraph = 0; paragraph < 40; ++paragraph)
        text += QStringLiteral("Paragraph %1: the quick brown fox 😀 jumps over the lazy dog.\n").arg(paragraph);
    theScene.editor = std::make_unique<TestEditor>(TestEditor::Kind::gtkView, text, std::pair { 1000, 1040 });
    std::optional<SelectionSnapshot> first;
    if (!theScene.editor->waitUntilReady()
        || !runUntil(
            [&] { return (first = theScene.selection.capture(true)).has_value(); }, std::chrono::seconds(10))) {
        std::fprintf(stderr, "The editor did not come up.\n");
        return 1;
    }
    theScene.field = first->target->element;
    return brindlet::bench::runBenchmarks(argc, argv,
        {
            { "full capture vs one GetText", "fullCapture", "getTextRoundTrip" },
            { "passive tick vs one GetText", "passiveTick", "getTextRoundTrip" },
            { "delivery with read-back vs one GetText", "deliveryWithReadBack/iterations:10", "getTextRoundTrip" },
        });
}
