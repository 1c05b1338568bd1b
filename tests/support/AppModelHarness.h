#pragma once

#include "DesktopScenes.h"
#include "Doubles.h"
#include "EventLoop.h"
#include "ManualTimerSource.h"
#include "core/AppModel.h"
#include "settings/InMemoryDefaultsStore.h"
#include "settings/SettingsStore.h"
#include "windows/WindowCoordinating.h"

#include <gtest/gtest.h>

#include <memory>

namespace brindlet::test {

// A model wired to recording doubles, on a clock the test moves. With a real selection service,
// the model works on the simulated desktop's documents instead of on a recording.
struct AppModelHarness {
    ManualTimerSource clock;
    InMemoryDefaultsStore defaults;
    SettingsStore settings { defaults };
    DesktopScene scene;
    SimulatedDesktop& desktop = scene.desktop;
    RecordingSelectionService selection;
    ScriptedProvider provider;
    RecordingHotKeys hotKeys;
    RecordingAnalytics analytics;
    RecordingWindows windows;
    std::unique_ptr<AppModel> model;

    explicit AppModelHarness(bool realSelection = false)
    {
        SelectionServing* service = realSelection ? static_cast<SelectionServing*>(&scene.service) : &selection;
        model = std::make_unique<AppModel>(AppServices {
            &settings, &desktop, service, &provider, &hotKeys, &analytics, &desktop, &desktop, &windows });
    }

    // Nothing a test started outlives it: cancelled tasks unwind before the doubles go.
    ~AppModelHarness()
    {
        EXPECT_EQ(analytics.outOfVocabulary, QStringList());
        EXPECT_EQ(analytics.foreignWireStrings(), QStringList());
        model.reset();
        cancelAllTasks();
        drainEvents();
    }

    static SelectionSnapshot snapshot(std::optional<QString> text, bool settable = true)
    {
        auto target = std::make_shared<SelectionTarget>();
        target->processID = 4242;
        target->originalText = text.value_or(QString());
        target->hadSelection = text && !text->isEmpty();
        target->isSettable = settable;
        return SelectionSnapshot { QUuid::createUuid(), std::move(text), QStringLiteral("TextEdit"),
            Rect { 10, 20, 100, 16 }, target };
    }

    // Opens the HUD as the Quick Command shortcut would, on a captured selection (a cursor when
    // text is absent).
    void openHUD(std::optional<QString> text)
    {
        selection.nextCapture = snapshot(std::move(text));
        model->presentQuickHUD(QuickHUDTrigger::globalHotKey);
    }

    // Types an instruction and generates; returns the provider's side of the new generation.
    std::shared_ptr<ScriptedProvider::Generation> generate(const QString& instruction = QStringLiteral("go"))
    {
        const size_t next = provider.generations.size();
        model->setInstruction(instruction);
        model->generate();
        return awaitGeneration(next);
    }

    // Waits for the provider to receive generation number `index` (0-based).
    std::shared_ptr<ScriptedProvider::Generation> awaitGeneration(size_t index = 0)
    {
        runUntil([&] { return provider.generations.size() > index; });
        return provider.generations.size() > index ? provider.generations[index] : nullptr;
    }
};

// The fixture of the model's tests.
class ModelTest : public ::testing::Test {
protected:
    AppModelHarness h;
    AppModel& model = *h.model;
};

} // namespace brindlet::test
