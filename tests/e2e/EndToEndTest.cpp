// The real model and selection service over the simulated desktop, with a scripted provider:
// whole flows from a shortcut to a proven change in the source document.

#include "support/AppModelHarness.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;
using enum QuickHUDPhase;

namespace {

const PasteboardItem userClipboard { { SimulatedDesktop::plainTextType, "kept safe" },
    { u"public.rtf"_qs, "{\\rtf1}" } };

class EndToEnd : public ::testing::Test {
protected:
    AppModelHarness h { true };
    AppModel& model = *h.model;
    SimulatedDesktop& desktop = h.desktop;
    SimElementPtr field;

    EndToEnd()
    {
        model.start();
        field = h.scene.editor(u"Their going to the libary."_qs, { 0, 26 });
        desktop.writeItems({ userClipboard });
    }
    // Nothing the user selected, asked for or got back reaches the log (the harness checks events).
    ~EndToEnd() override
    {
        for (const char* text : { "libary", "library", "spelling" })
            EXPECT_EQ(desktop.logLines.filter(QString::fromLatin1(text)), QStringList());
    }

    // The panel takes the keyboard when it shows, as the real one does.
    void press(GlobalHotKeyAction action)
    {
        h.hotKeys.onPressed(action);
        if (model.quickHUDPhase() != bubble) {
            desktop.bringToFront(desktop.ownProcessID);
            desktop.ownApplicationActive = true;
        }
    }
    bool waitFor(const std::function<bool()>& condition) { return runVirtually(h.clock, condition); }
    void expectClipboardKept() { EXPECT_EQ(desktop.items(), QList<PasteboardItem> { userClipboard }); }
    // A command over the captured selection, with its result in review.
    void reachReview()
    {
        press(GlobalHotKeyAction::quickCommand);
        h.generate(u"fix"_qs)->finish(u"They're going to the library."_qs);
        ASSERT_TRUE(waitFor([&] { return model.quickHUDPhase() == review; }));
    }
};

TEST_F(EndToEnd, CommandFromShortcutToVerifiedReplacement)
{
    press(GlobalHotKeyAction::quickCommand);
    ASSERT_EQ(model.quickHUDPhase(), compose);
    EXPECT_EQ(model.workingSourceText(), u"Their going to the libary."_qs);
    model.setInstruction(u"Fix the spelling"_qs);
    model.generate();
    auto g = h.awaitGeneration();
    g->preview(u"They're going"_qs);
    EXPECT_EQ(model.generationPreview(), u"They're going"_qs);
    g->finish(u"They're going to the library."_qs);
    ASSERT_TRUE(waitFor([&] { return model.quickHUDPhase() == review; }));
    EXPECT_EQ(model.deliveryLabel(), u"Replace"_qs);

    model.deliver();
    EXPECT_EQ(h.windows.calls.last(), u"resignKeyboard"_qs);
    EXPECT_EQ(model.statusMessage(), u"Returning to TextEdit…"_qs);
    ASSERT_TRUE(waitFor([&] { return model.quickHUDPhase() == confirmation; }));
    EXPECT_EQ(model.statusMessage(), u"Replaced the selected text."_qs);
    EXPECT_EQ(field->value, u"They're going to the library."_qs);
    EXPECT_EQ(field->writes, 1);
    expectClipboardKept();
    ASSERT_TRUE(waitFor([&] { return model.quickHUDPhase() == bubble; }));
    EXPECT_EQ(h.analytics.typeNames().mid(h.analytics.typeNames().size() - 3),
        (QStringList { u"GENERATION_STARTED"_qs, u"GENERATION_COMPLETED"_qs, u"DELIVERY_COMPLETED"_qs }));
}

TEST_F(EndToEnd, QuickFixReplacesInPlace)
{
    field->writeBehaviour = simulated::SimElement::WriteBehaviour::refuses; // through the guarded paste
    press(GlobalHotKeyAction::quickFix);
    EXPECT_EQ(model.quickHUDPhase(), quickFixGenerating);
    h.awaitGeneration()->finish(u"They're going to the library."_qs);
    ASSERT_TRUE(waitFor([&] { return model.quickHUDPhase() == confirmation; }));
    EXPECT_EQ(model.statusMessage(), u"Fixed in TextEdit"_qs);
    EXPECT_EQ(field->value, u"They're going to the library."_qs);
    EXPECT_EQ(field->pastes, 1);
    expectClipboardKept();
    EXPECT_EQ(h.analytics.typeNames(),
        (QStringList { u"QUICK_FIX_STARTED"_qs, u"GENERATION_STARTED"_qs, u"GENERATION_COMPLETED"_qs,
            u"DELIVERY_COMPLETED"_qs, u"QUICK_FIX_COMPLETED"_qs }));
    EXPECT_EQ(h.analytics.events.back().dimensions.outcome, u"success"_qs);
}

TEST_F(EndToEnd, QuickFixOnAChangedSelectionFallsBackToReviewAndCanRetry)
{
    press(GlobalHotKeyAction::quickFix);
    auto g = h.awaitGeneration();
    field->selection = { 0, 5 }; // the user clicked elsewhere while the model was thinking
    g->finish(u"They're going to the library."_qs);
    ASSERT_TRUE(waitFor([&] { return model.quickHUDPhase() == review; }));
    EXPECT_EQ(
        model.statusMessage(), u"The original selection or cursor changed. Brindlet did not alter the document."_qs);
    EXPECT_EQ(field->value, u"Their going to the libary."_qs);
    EXPECT_FALSE(model.isQuickFixSession());
    EXPECT_EQ(h.analytics.events.back().dimensions.outcome, u"stale_target"_qs);

    field->selection = { 0, 26 }; // the selection is back: delivering from review works
    desktop.bringToFront(desktop.ownProcessID);
    model.deliver();
    ASSERT_TRUE(waitFor([&] { return model.quickHUDPhase() == confirmation; }));
    EXPECT_EQ(field->value, u"They're going to the library."_qs);
}

TEST_F(EndToEnd, SecondShortcutDuringADeliveryStartsAfreshAndTheOldAnswerChangesNothing)
{
    field->writeBehaviour = simulated::SimElement::WriteBehaviour::refuses;
    reachReview();
    // While the paste waits for the application to read the clipboard, the user presses again.
    desktop.onClipboardWrite = [this](qint64) {
        desktop.onClipboardWrite = nullptr;
        timerSource().schedule(100ms, {}, [this] {
            desktop.bringToFront(501);
            desktop.ownApplicationActive = false;
            press(GlobalHotKeyAction::quickCommand);
        });
    };
    model.deliver();
    ASSERT_TRUE(waitFor([&] { return !model.isDelivering() && desktop.onClipboardWrite == nullptr; }));
    waitFor([] { return false; }); // let every wait of the old delivery run out
    EXPECT_EQ(model.quickHUDPhase(), compose);
    EXPECT_FALSE(model.hasResult());
    EXPECT_FALSE(model.statusMessage());
    EXPECT_LE(field->pastes, 1); // changed at most once
    expectClipboardKept();
}

TEST_F(EndToEnd, DismissalDuringAPasteRestoresTheClipboardAndReportsNothing)
{
    field->writeBehaviour = simulated::SimElement::WriteBehaviour::changesNothing;
    reachReview();
    desktop.onClipboardWrite = [this](qint64) {
        desktop.onClipboardWrite = nullptr;
        timerSource().schedule(50ms, {}, [this] { model.dismissQuickHUD(); });
    };
    model.deliver();
    waitFor([] { return false; });
    EXPECT_EQ(model.quickHUDPhase(), bubble);
    EXPECT_FALSE(model.isDelivering());
    EXPECT_FALSE(model.statusMessage());
    EXPECT_TRUE(
        field->value == u"Their going to the libary."_qs || field->value == u"They're going to the library."_qs);
    expectClipboardKept();
    EXPECT_EQ(h.analytics.typeNames().filter(u"DELIVERY"_qs), QStringList());
}

} // namespace
