#include "domain/Prompt.h"
#include "providers/ProviderError.h"
#include "support/AppModelHarness.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;
using enum QuickHUDPhase;

namespace {

class AppModelHUD : public ModelTest {
protected:
    // A finished result in review, from a captured selection.
    void reachReview(const QString& result = u"Better text"_qs)
    {
        h.openHUD(u"Some text"_qs);
        h.generate(u"improve"_qs)->finish(result);
        ASSERT_TRUE(runUntil([&] { return model.quickHUDPhase() == review; }));
    }
};

struct MoveCase : NamedRow {
    QuickHUDPhase from;
    std::function<void(AppModel&)> move;
    QuickHUDPhase to;
};

class HUDMoves : public AppModelHUD, public ::testing::WithParamInterface<MoveCase> { };

TEST_P(HUDMoves, GoWhereTheyShouldAndTellTheCoordinator)
{
    reachReview();
    if (GetParam().from == compose)
        model.returnToCompose();
    ASSERT_EQ(model.quickHUDPhase(), GetParam().from);
    h.windows.phases.clear();
    GetParam().move(model);
    EXPECT_EQ(model.quickHUDPhase(), GetParam().to);
    if (GetParam().from != GetParam().to) {
        ASSERT_FALSE(h.windows.phases.empty());
        EXPECT_EQ(h.windows.phases.back(), GetParam().to);
    }
}

BRINDLET_ROWS(HUD, HUDMoves,
    MoveCase { "moreActionsOpens", compose, [](AppModel& m) { m.toggleMoreActions(); }, moreActions },
    MoveCase { "moreActionsCloses", compose,
        [](AppModel& m) {
            m.toggleMoreActions();
            m.toggleMoreActions();
        },
        compose },
    MoveCase { "providerPickerFromReview", review, [](AppModel& m) { m.toggleProviderPicker(); }, providerPicker },
    MoveCase { "sourceDetailFromReviewReturnsToReview", review,
        [](AppModel& m) {
            m.openSourceDetail(true);
            EXPECT_EQ(m.sourceDetailMode(), QuickHUDSourceMode::read); // a result's source is read-only
            m.closeSourceDetail();
        },
        review },
    MoveCase { "sourceDetailFromComposeEdits", compose,
        [](AppModel& m) {
            m.openSourceDetail(true);
            EXPECT_EQ(m.sourceDetailMode(), QuickHUDSourceMode::edit);
        },
        sourceDetail },
    MoveCase { "retainedResultReviewedAgain", compose, [](AppModel& m) { m.reviewRetainedResult(); }, review },
    MoveCase { "closeSourceDetailOutsideIsRefused", compose, [](AppModel& m) { m.closeSourceDetail(); }, compose },
    MoveCase { "returnToComposeOnlyFromReview", compose, [](AppModel& m) { m.returnToCompose(); }, compose });

TEST_F(AppModelHUD, TogglesAreRefusedWhileGenerating)
{
    h.openHUD(u"text"_qs);
    model.setInstruction(u"go"_qs);
    model.generate();
    model.toggleMoreActions();
    model.toggleProviderPicker();
    model.openSourceDetail(false);
    EXPECT_EQ(model.quickHUDPhase(), generating);
}

TEST_F(AppModelHUD, ProviderPickerListsOllamaModelsAndDropsAListingForAnOldAddress)
{
    h.openHUD(u"text"_qs);
    model.toggleProviderPicker();
    ASSERT_TRUE(runUntil([&] { return h.provider.pendingListings.size() == 1; }));
    h.settings.setOllamaURL(u"http://127.0.0.1:9"_qs); // changed while the listing runs
    h.provider.pendingListings[0]->resolve({ u"old-host-model"_qs });
    ASSERT_TRUE(runUntil([&] { return !model.isRefreshingOllamaModels(); }));
    EXPECT_EQ(model.providerReadiness().at(ProviderKind::ollama).state, ProviderReadiness::State::checking);
    EXPECT_TRUE(h.settings.ollamaModel().isEmpty());

    model.refreshOllamaModels();
    ASSERT_TRUE(runUntil([&] { return h.provider.pendingListings.size() == 2; }));
    h.provider.pendingListings[1]->resolve({ u"m"_qs });
    ASSERT_TRUE(runUntil([&] { return !model.isRefreshingOllamaModels(); }));
    EXPECT_EQ(model.ollamaModels(), QStringList { u"m"_qs });
    EXPECT_EQ(h.settings.ollamaModel(), u"m"_qs);
    ASSERT_TRUE(runUntil([&] { return h.provider.calls.contains(u"preload(m)"_qs); }));
}

TEST_F(AppModelHUD, RetainedResultSurvivesReturningAndGoesWithDiscard)
{
    reachReview();
    model.returnToCompose();
    EXPECT_TRUE(model.hasResult());
    model.setWorkingSourceText(u"edited"_qs);
    model.revertSourceEdits();
    EXPECT_EQ(model.workingSourceText(), u"Some text"_qs);
    h.windows.phases.clear();
    model.discardResult();
    EXPECT_FALSE(model.hasResult());
    EXPECT_FALSE(model.lastGenerationRequest());
    EXPECT_EQ(h.windows.phases, std::vector<QuickHUDPhase> { compose }); // told without moving
}

TEST_F(AppModelHUD, CopyShowsCopiedThenDismissesAfter700ms)
{
    reachReview(u"To the clipboard"_qs);
    model.copyResult();
    EXPECT_EQ(h.desktop.clipboardText(), u"To the clipboard"_qs);
    EXPECT_EQ(model.quickHUDPhase(), confirmation);
    EXPECT_EQ(model.statusMessage(), u"Copied"_qs);
    EXPECT_EQ(h.analytics.events.back().dimensions,
        (AnalyticsDimensions {
            std::nullopt, std::nullopt, std::nullopt, u"quick_hud"_qs, u"copy"_qs, u"copied"_qs, std::nullopt }));
    // A second confirmation within 0.7 s restarts the wait.
    h.clock.advance(500ms);
    drainEvents();
    model.showConfirmation(u"Again"_qs);
    drainEvents();
    h.clock.advance(500ms);
    drainEvents();
    EXPECT_EQ(model.quickHUDPhase(), confirmation);
    h.clock.advance(200ms);
    ASSERT_TRUE(runUntil([&] { return model.quickHUDPhase() == bubble; }));
    EXPECT_FALSE(model.hasResult()); // confirmation ends the session
}

TEST_F(AppModelHUD, ConfirmationTimeOutLeavesAPhaseThatMovedOn)
{
    reachReview();
    model.copyResult();
    h.openHUD(u"Next text"_qs); // the user starts over within 0.7 s
    ASSERT_EQ(model.quickHUDPhase(), compose);
    h.clock.advance(1s);
    drainEvents();
    EXPECT_EQ(model.quickHUDPhase(), compose);
}

TEST_F(AppModelHUD, AFailedDeliveryFromTheWorkspaceStaysThereWithTheReason)
{
    model.setSnapshot(AppModelHarness::snapshot(u"Some text"_qs));
    h.generate(u"improve"_qs)->finish(u"Better"_qs);
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
    h.selection.deliveryFailure = SelectionError::Kind::targetChanged;
    model.deliver();
    ASSERT_TRUE(runUntil([&] { return !model.isDelivering(); }));
    EXPECT_EQ(model.quickHUDPhase(), bubble);
    EXPECT_EQ(model.statusMessage(), SelectionError(SelectionError::Kind::targetChanged).description());
    EXPECT_EQ(model.result(), u"Better"_qs);
}

// A regeneration may replace the result while it is still on its way back; the old write's
// answer then neither confirms nor counts, in the HUD or in Quick Fix.
TEST_F(AppModelHUD, DeliveryAnswerForAReplacedResultIsIgnored)
{
    const std::pair<const char*, std::function<void()>> starts[] = {
        { "deliver",
            [&] {
                reachReview(u"First"_qs);
                model.deliver();
            } },
        { "quickFix",
            [&] {
                h.selection.nextCapture = AppModelHarness::snapshot(u"teh cat"_qs);
                model.startQuickFix();
                h.awaitGeneration(h.provider.generations.size())->finish(u"First"_qs);
            } },
    };
    h.selection.holdDelivery = true;
    for (const auto& [name, start] : starts) {
        h.selection.pendingDelivery.reset();
        start();
        ASSERT_TRUE(runUntil([&] { return h.selection.pendingDelivery != nullptr; })) << name;
        model.regenerate();
        h.awaitGeneration(h.provider.generations.size())->finish(u"Second"_qs);
        ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); })) << name;
        h.analytics.events.clear();
        h.selection.pendingDelivery->resolve(true);
        ASSERT_TRUE(runUntil([&] { return !model.isDelivering(); })) << name;
        EXPECT_EQ(model.quickHUDPhase(), review) << name;
        EXPECT_EQ(model.result(), u"Second"_qs) << name;
        EXPECT_TRUE(h.analytics.events.empty()) << name;
        model.dismissQuickHUD();
    }
}

TEST_F(AppModelHUD, CopyInTheWorkspaceSetsTheSentenceAndStays)
{
    h.generate(u"Write"_qs)->finish(u"Text"_qs);
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
    model.copyResult();
    EXPECT_EQ(model.statusMessage(), u"Copied to the clipboard."_qs);
    EXPECT_EQ(model.quickHUDPhase(), bubble);
    EXPECT_EQ(h.analytics.events.back().dimensions.surface, u"workspace"_qs);
    const auto events = h.analytics.events.size();
    model.discardResult();
    model.copyResult(); // nothing left to copy: nothing happens
    EXPECT_EQ(h.analytics.events.size(), events);
}

TEST_F(AppModelHUD, DeliverWithoutASourceCopies)
{
    model.presentQuickHUD(QuickHUDTrigger::globalHotKey); // capture finds nothing
    h.generate(u"Write"_qs)->finish(u"New text"_qs);
    ASSERT_TRUE(runUntil([&] { return model.quickHUDPhase() == review; }));
    model.deliver();
    EXPECT_EQ(h.desktop.clipboardText(), u"New text"_qs);
    EXPECT_FALSE(h.selection.calls.contains(u"deliver"_qs));
}

TEST_F(AppModelHUD, BubblePressCapturesAfreshAndOpensOnlyOnAVisibleSelection)
{
    model.start();
    h.selection.onSelectionChanged(AppModelHarness::snapshot(u"seen"_qs));
    h.selection.nextCapture = AppModelHarness::snapshot(u"   "_qs); // gone by the time of the press
    model.selectionBubblePressed();
    EXPECT_EQ(model.quickHUDPhase(), bubble);
    EXPECT_FALSE(model.observedSnapshot());
    EXPECT_EQ(h.windows.calls.last(), u"hideSelectionBubble"_qs);

    h.selection.onSelectionChanged(AppModelHarness::snapshot(u"seen"_qs));
    h.selection.nextCapture = AppModelHarness::snapshot(u"fresh"_qs);
    model.selectionBubblePressed();
    EXPECT_EQ(model.quickHUDPhase(), compose);
    EXPECT_EQ(model.workingSourceText(), u"fresh"_qs);
    EXPECT_EQ(model.quickHUDTrigger(), QuickHUDTrigger::selectionBubble);
    EXPECT_TRUE(h.selection.calls.contains(u"recheckPassively"_qs));
    EXPECT_EQ(h.analytics.events.back().dimensions.trigger, u"selection_bubble"_qs);
}

TEST_F(AppModelHUD, BubbleRecheckAfterLosingFocus)
{
    h.selection.nextCapture = AppModelHarness::snapshot(u"still there"_qs);
    model.scheduleBubbleRecheck();
    drainEvents();
    EXPECT_FALSE(model.observedSnapshot()); // not at once: once focus has settled
    h.clock.advance(80ms);
    ASSERT_TRUE(runUntil([&] { return model.observedSnapshot().has_value(); }));
    EXPECT_EQ(h.windows.calls.last(), u"showSelectionBubble"_qs);

    h.desktop.ownApplicationActive = true; // back in this application: nothing to do
    h.selection.nextCapture.reset();
    model.scheduleBubbleRecheck();
    drainEvents();
    h.clock.advance(80ms);
    drainEvents();
    EXPECT_TRUE(model.observedSnapshot());
}

// ---- Quick Fix with a recording selection service ----

TEST_F(AppModelHUD, QuickFixRefusesBeforeAnyGeneration)
{
    const std::tuple<const char*, std::optional<SelectionSnapshot>, QString, QString, bool> cases[] = {
        { "cursor", AppModelHarness::snapshot(std::nullopt), u"Select text first"_qs, u"validation"_qs, true },
        { "nothing", std::nullopt, u"Select text first"_qs, u"validation"_qs, true },
        { "readOnly", AppModelHarness::snapshot(u"fixed text"_qs, false), u"This selection cannot be replaced."_qs,
            u"rejected"_qs, false },
    };
    for (const auto& [name, capture, message, outcome, closesItself] : cases) {
        h.analytics.events.clear();
        h.selection.nextCapture = capture;
        model.startQuickFix();
        EXPECT_EQ(model.quickHUDPhase(), quickFixStatus) << name;
        EXPECT_EQ(model.statusMessage(), message) << name;
        EXPECT_EQ(h.analytics.typeNames(), (QStringList { u"QUICK_FIX_STARTED"_qs, u"QUICK_FIX_COMPLETED"_qs }))
            << name;
        EXPECT_EQ(h.analytics.events.back().dimensions.outcome, outcome) << name;
        drainEvents();
        h.clock.advance(1250ms);
        drainEvents();
        EXPECT_EQ(model.quickHUDPhase() == bubble, closesItself) << name;
        model.dismissQuickHUD();
    }
    EXPECT_TRUE(h.provider.generations.empty());
}

TEST_F(AppModelHUD, QuickFixResultEqualUpToTrimAndCanonicalFormIsLeftAlone)
{
    h.selection.nextCapture = AppModelHarness::snapshot(u"Caf\u00e9 ok"_qs);
    model.startQuickFix();
    EXPECT_EQ(model.quickHUDPhase(), quickFixGenerating);
    auto generation = h.awaitGeneration();
    EXPECT_EQ(generation->prompt, assemblePrompt(u""_qs, Preset::builtIn(u"Fix Writing"_qs), u"Caf\u00e9 ok"_qs));
    generation->finish(u"Cafe\u0301 ok\n"_qs);
    ASSERT_TRUE(runUntil([&] { return model.quickHUDPhase() == confirmation; }));
    EXPECT_EQ(model.statusMessage(), u"Already looks good"_qs);
    EXPECT_FALSE(h.selection.calls.contains(u"deliver"_qs));
    EXPECT_EQ(h.analytics.events.back().dimensions.outcome, u"unchanged"_qs);
}

TEST_F(AppModelHUD, QuickFixGenerationFailureLandsInCompose)
{
    h.selection.nextCapture = AppModelHarness::snapshot(u"teh cat"_qs);
    model.startQuickFix();
    h.awaitGeneration()->fail(std::make_exception_ptr(ProviderError::timedOut()));
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
    EXPECT_EQ(model.quickHUDPhase(), compose);
    EXPECT_FALSE(model.isQuickFixSession());
    EXPECT_EQ(model.statusMessage(), u"The provider did not respond within two minutes."_qs);
    EXPECT_EQ(model.workingSourceText(), u"teh cat"_qs); // the selection stays attached
}

TEST_F(AppModelHUD, CancellingQuickFixClosesTheHUD)
{
    h.selection.nextCapture = AppModelHarness::snapshot(u"teh cat"_qs);
    model.startQuickFix();
    h.awaitGeneration();
    model.userCancelGeneration();
    EXPECT_EQ(model.quickHUDPhase(), bubble);
    EXPECT_FALSE(model.statusMessage());
}

} // namespace
