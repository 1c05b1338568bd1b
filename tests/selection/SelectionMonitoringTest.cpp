#include "support/DesktopScenes.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

class Monitoring : public ::testing::Test {
protected:
    DesktopScene scene;
    SimElementPtr field = scene.editor(u"The quick brown fox"_qs, { 4, 5 });
    std::vector<std::optional<QString>> reports; // the text of each report, nullopt for "gone"

    Monitoring()
    {
        scene.service.setOnSelectionChanged(
            [this](std::optional<SelectionSnapshot> s) { reports.push_back(s ? s->text : std::nullopt); });
    }
    void tick() { scene.service.monitoringTick(); }
};

TEST_F(Monitoring, ReportsEachNewSelectionOnce)
{
    tick();
    tick();
    EXPECT_EQ(reports, (std::vector<std::optional<QString>> { u"quick"_qs }));
    field->selection = { 10, 5 };
    tick();
    field->selection = { 0, 0 }; // a bare cursor is no selection in a passive capture
    tick();
    tick();
    EXPECT_EQ(reports, (std::vector<std::optional<QString>> { u"quick"_qs, u"brown"_qs, std::nullopt }));
    field->selection = { 10, 5 };
    tick();
    field->origin = QPointF(100, 120); // scrolled: the same text elsewhere is a new selection
    tick();
    EXPECT_EQ(reports.size(), 5u);
}

// Only the left button is a press.
TEST_F(Monitoring, APressHidesTheBubbleOnceAndCapturesNothing)
{
    scene.desktop.mouseButtons = 2;
    tick();
    ASSERT_EQ(reports.size(), 1u);
    scene.desktop.mouseButtons = 1;
    const int before = scene.desktop.accessibilityMessages;
    for (int i = 0; i < 4; ++i)
        tick();
    EXPECT_EQ(scene.desktop.accessibilityMessages, before);
    EXPECT_EQ(reports, (std::vector<std::optional<QString>> { u"quick"_qs, std::nullopt }));
    scene.desktop.mouseButtons = 0; // released over the same selection: reported again
    tick();
    EXPECT_EQ(reports.back(), u"quick"_qs);
    EXPECT_EQ(reports.size(), 3u);
}

// The bubble's own re-check found a selection the loop never saw: its going away is reported.
TEST_F(Monitoring, APressAfterTheBubblesRecheckStillReportsGone)
{
    ASSERT_TRUE(scene.service.recheckPassively());
    scene.desktop.mouseButtons = 1;
    tick();
    EXPECT_EQ(reports, (std::vector<std::optional<QString>> { std::nullopt }));
}

TEST_F(Monitoring, NothingHappensWhileThisApplicationIsActive)
{
    tick();
    scene.desktop.ownApplicationActive = true;
    field->selection = { 10, 5 };
    const int before = scene.desktop.accessibilityMessages;
    tick();
    EXPECT_EQ(scene.desktop.accessibilityMessages, before);
    scene.desktop.ownApplicationActive = false;
    field->selection = { 4, 5 };
    tick(); // back on the selection reported before: nothing new
    EXPECT_EQ(reports.size(), 1u);
}

} // namespace
