#include "core/TerminationGate.h"
#include "settings/InMemoryDefaultsStore.h"
#include "settings/SettingsStore.h"
#include "support/EventLoop.h"
#include "support/Printers.h"

#include <QCoreApplication>
#include <QEvent>

#include <gtest/gtest.h>

using namespace brindlet;
using Reason = ApplicationTerminationReason;

namespace {

struct QuitCase : NamedRow {
    bool keepRunning;
    std::vector<std::optional<Reason>> reasons; // one per quit request; none means no reason was set
    std::vector<bool> quits;
    int putAways;
};

class TerminationGateTest : public ::testing::TestWithParam<QuitCase> { };

TEST_P(TerminationGateTest, DecidesEachQuitByItsReasonAndForgetsIt)
{
    const QuitCase& c = GetParam();
    InMemoryDefaultsStore store;
    SettingsStore settings(store);
    settings.setKeepRunningAfterDockQuit(c.keepRunning);
    int putAways = 0;
    TerminationGate gate(settings, [&] { ++putAways; });
    std::vector<bool> quits;
    for (const auto& reason : c.reasons) {
        if (reason)
            gate.setPendingReason(*reason);
        // Every request reaches the gate as the application's quit event.
        QEvent quit(QEvent::Quit);
        quits.push_back(!gate.eventFilter(QCoreApplication::instance(), &quit));
    }
    test::drainEvents();
    EXPECT_EQ(quits, c.quits);
    EXPECT_EQ(putAways, c.putAways);
}

BRINDLET_ROWS(Table, TerminationGateTest,
    QuitCase { "TwoOrdinaryQuitsStay", true, { std::nullopt, std::nullopt }, { false, false }, 2 },
    QuitCase { "OrdinaryQuitsWhenNotKeptRunning", false, { std::nullopt }, { true }, 0 },
    QuitCase { "QuitCompletely", true, { Reason::explicitComplete }, { true }, 0 },
    QuitCase { "SessionEnds", true, { Reason::systemPowerOff }, { true }, 0 },
    // A reason is used up by one quit: the next one without a reason stays.
    QuitCase { "UpdateThenOrdinary", true, { Reason::updaterRelaunch, std::nullopt }, { true, false }, 1 },
    QuitCase { "OrdinaryThenComplete", true, { std::nullopt, Reason::explicitComplete }, { false, true }, 1 });

} // namespace
