#include "support/AppModelHarness.h"

#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

using AppModelStart = ModelTest;

TEST_F(AppModelStart, StartsEveryServiceOnceInOrder)
{
    h.desktop.trusted = false;
    h.settings.setAnalyticsEnabled(false);
    model.start();
    model.start();
    drainEvents();
    EXPECT_FALSE(model.accessibilityGranted());
    EXPECT_EQ(h.analytics.starts, std::vector<bool> { false });
    EXPECT_EQ(h.selection.calls, (QStringList { u"setOnSelectionChanged"_qs, u"startMonitoring"_qs }));
    EXPECT_EQ(h.provider.calls.filter(u"prepare"_qs),
        (QStringList { u"prepare(ollama)"_qs, u"prepare(claude)"_qs, u"prepare(codex)"_qs, u"prepare(cursor)"_qs,
            u"prepare(gemini)"_qs }));
    // Onboarding is open, so readiness is refreshed for all five.
    EXPECT_EQ(h.provider.calls.filter(u"readiness"_qs).size(), 5);
    ASSERT_EQ(h.hotKeys.registrations.size(), 1u);
    EXPECT_EQ(h.hotKeys.registrations[0].size(), 3u);
    ASSERT_TRUE(model.permissionTimer());
}

TEST_F(AppModelStart, AfterOnboardingReadinessIsNotRefreshed)
{
    h.settings.setHasCompletedOnboarding(true);
    model.start();
    drainEvents();
    EXPECT_TRUE(h.provider.calls.filter(u"readiness"_qs).isEmpty());
}

TEST_F(AppModelStart, MarketingPreviewTouchesNoService)
{
    h.desktop.trusted = false;
    model.setMarketingPreviewState(MarketingPreviewState::workspace);
    model.start();
    drainEvents();
    EXPECT_TRUE(model.accessibilityGranted());
    EXPECT_EQ(h.desktop.trustQueries, 0);
    EXPECT_TRUE(h.selection.calls.isEmpty());
    EXPECT_TRUE(h.provider.calls.isEmpty());
    EXPECT_TRUE(h.analytics.starts.empty());
    EXPECT_TRUE(h.hotKeys.registrations.empty());
    EXPECT_FALSE(model.permissionTimer());
}

TEST_F(AppModelStart, PermissionPollingClearsOnlyAccessibilityMessagesOnGrant)
{
    h.desktop.trusted = false;
    model.start();
    model.requestAccessibilityPermission();
    EXPECT_EQ(h.selection.calls.last(), u"requestAccessibilityAccess"_qs);
    EXPECT_EQ(model.statusMessage(),
        u"Enable Brindlet in Accessibility. If it is already on, turn it off and on once to replace the older "
        u"app authorization."_qs);

    const int before = h.desktop.trustQueries;
    h.clock.advance(1200ms);
    EXPECT_EQ(h.desktop.trustQueries - before, 3);
    EXPECT_TRUE(model.statusMessage());

    h.desktop.trusted = true;
    h.clock.advance(400ms);
    EXPECT_TRUE(model.accessibilityGranted());
    EXPECT_FALSE(model.statusMessage());

    // Losing and regaining trust leaves an unrelated message alone.
    h.desktop.trusted = false;
    h.clock.advance(400ms);
    model.setStatusMessage(u"Ollama did not respond."_qs);
    h.desktop.trusted = true;
    h.clock.advance(400ms);
    EXPECT_EQ(model.statusMessage(), u"Ollama did not respond."_qs);
}

TEST_F(AppModelStart, ReadinessAnswersLandPerKindAndFillAnEmptyModel)
{
    h.provider.holdReadiness = true;
    model.refreshProviderReadiness();
    drainEvents();
    EXPECT_EQ(model.providerReadiness().at(ProviderKind::codex).state, ProviderReadiness::State::checking);
    EXPECT_EQ(model.providerReadiness().at(ProviderKind::codex).detail, u"Checking…"_qs);
    h.provider.pendingReadiness[ProviderKind::ollama]->resolve(
        { ProviderReadiness::State::ready, u"Ollama is running with 2 installed models."_qs, { u"a"_qs, u"b"_qs } });
    EXPECT_TRUE(model.isProviderReady());
    EXPECT_EQ(model.ollamaModels(), (QStringList { u"a"_qs, u"b"_qs }));
    EXPECT_EQ(h.settings.ollamaModel(), u"a"_qs);
    EXPECT_EQ(model.providerLabel(), u"Ollama · a"_qs);
    EXPECT_EQ(model.providerReadiness().at(ProviderKind::codex).state, ProviderReadiness::State::checking);
    drainEvents();
    EXPECT_TRUE(h.provider.calls.filter(u"preload"_qs).isEmpty()); // a refresh stores, it does not preload
}

// Choosing a model warms it exactly once: through the provider change when it also switches to
// Ollama, by a preload otherwise; a name of blanks chooses nothing.
TEST_F(AppModelStart, ChoosingAnOllamaModelWarmsItOnce)
{
    model.setProvider(ProviderKind::claude);
    model.selectOllamaModel(u"  "_qs, true, true);
    EXPECT_EQ(model.provider(), ProviderKind::claude);
    drainEvents();
    h.provider.calls.clear();
    model.selectOllamaModel(u" qwen "_qs, true, true);
    drainEvents();
    EXPECT_EQ(h.settings.ollamaModel(), u"qwen"_qs);
    EXPECT_EQ(h.provider.calls, (QStringList { u"prepare(ollama)"_qs }));
    h.provider.calls.clear();
    model.selectOllamaModel(u"llama3.2"_qs, false, false);
    drainEvents();
    EXPECT_EQ(h.provider.calls, (QStringList { u"preload(llama3.2)"_qs }));
}

// Setup ends only with a ready provider; starting it again forgets that it ended.
TEST_F(AppModelStart, OnboardingFinishesOnlyWithAReadyProviderAndCanStartAgain)
{
    model.setProvider(ProviderKind::claude);
    model.finishOnboarding();
    EXPECT_EQ(model.statusMessage(), u"Choose a provider that is ready before finishing setup."_qs);
    EXPECT_FALSE(h.settings.hasCompletedOnboarding());

    h.provider.readinessAnswers[ProviderKind::claude] = { ProviderReadiness::State::ready, u"ok"_qs, {} };
    model.refreshProviderReadiness();
    drainEvents();
    h.provider.calls.clear();
    model.setOnboardingStep(3);
    model.finishOnboarding();
    drainEvents();
    EXPECT_TRUE(h.settings.hasCompletedOnboarding());
    EXPECT_EQ(model.onboardingStep(), 0);
    EXPECT_EQ(h.analytics.typeNames().back(), u"ONBOARDING_COMPLETED"_qs);
    EXPECT_EQ(h.provider.calls, (QStringList { u"prepare(claude)"_qs }));

    model.restartOnboarding();
    EXPECT_FALSE(h.settings.hasCompletedOnboarding());
    EXPECT_EQ(model.providerReadiness().at(ProviderKind::claude).state, ProviderReadiness::State::checking);
    model.setAnalyticsEnabled(false);
    EXPECT_FALSE(h.settings.analyticsEnabled());
    EXPECT_EQ(h.analytics.enabledChanges, std::vector<bool> { false });
}

TEST_F(AppModelStart, DuplicateShortcutsLoseToTheFirstActionInOrder)
{
    h.settings.setShortcut(
        GlobalHotKeyAction::quickFix, SettingsStore::defaultShortcut(GlobalHotKeyAction::quickCommand));
    h.settings.setShortcut(GlobalHotKeyAction::openWorkspace, std::nullopt);
    h.hotKeys.failures[GlobalHotKeyAction::quickCommand]
        = { SettingsStore::defaultShortcut(GlobalHotKeyAction::quickCommand),
              GlobalHotKeyRegistrationError::Failure::shortcut, -9878 };
    model.reregisterHotKeys();
    ASSERT_EQ(h.hotKeys.registrations.size(), 1u);
    EXPECT_EQ(h.hotKeys.registrations[0].size(), 1u);
    EXPECT_TRUE(h.hotKeys.registrations[0].count(GlobalHotKeyAction::quickCommand));
    const HotKeyMessages& messages = model.hotKeyMessages();
    EXPECT_EQ(messages.at(GlobalHotKeyAction::quickFix), u"⇧⌘Space is already assigned to Quick Command."_qs);
    EXPECT_EQ(messages.at(GlobalHotKeyAction::quickCommand),
        u"⇧⌘Space is unavailable. Choose another shortcut or change the conflicting shortcut in the other app."_qs);
    EXPECT_FALSE(messages.count(GlobalHotKeyAction::openWorkspace));

    // Rebinding the holder resolves the duplicate: both register, and its message goes.
    h.hotKeys.failures.clear();
    const auto other = SettingsStore::defaultShortcut(GlobalHotKeyAction::openWorkspace);
    model.setShortcut(other, GlobalHotKeyAction::quickCommand);
    ASSERT_EQ(h.hotKeys.registrations.size(), 2u);
    EXPECT_EQ(h.hotKeys.registrations[1].size(), 2u);
    EXPECT_TRUE(model.hotKeyMessages().empty());

    // Taking a shortcut another action holds is refused and changes nothing.
    model.setShortcut(other, GlobalHotKeyAction::quickFix);
    EXPECT_EQ(h.hotKeys.registrations.size(), 2u);
    EXPECT_EQ(model.hotKeyMessages().at(GlobalHotKeyAction::quickFix),
        other.displayText() + u" is already assigned to Quick Command."_qs);
    EXPECT_EQ(h.settings.shortcut(GlobalHotKeyAction::quickFix),
        SettingsStore::defaultShortcut(GlobalHotKeyAction::quickCommand));
}

// Recording turns the shortcuts off; a new chord another program holds is shown as unavailable
// and the old shortcut stays stored and registered; a free chord takes its place.
TEST_F(AppModelStart, ARecordedChordAnotherProgramHoldsLeavesTheOldShortcutInForce)
{
    const auto old = SettingsStore::defaultShortcut(GlobalHotKeyAction::quickFix);
    const HotKeyShortcut taken { 40, { HotKeyModifiers::control | HotKeyModifiers::option }, u"K"_qs };
    const HotKeyShortcut free { 37, { HotKeyModifiers::control | HotKeyModifiers::option }, u"L"_qs };
    h.hotKeys.heldElsewhere = taken;
    model.reregisterHotKeys();
    model.setRecordingHotKey(true);
    EXPECT_EQ(h.hotKeys.unregistrations, 1);
    model.setShortcut(taken, GlobalHotKeyAction::quickFix);
    model.setRecordingHotKey(false);
    EXPECT_EQ(h.settings.shortcut(GlobalHotKeyAction::quickFix), old);
    EXPECT_EQ(h.hotKeys.registrations.back().at(GlobalHotKeyAction::quickFix), old);
    EXPECT_EQ(model.hotKeyMessages().at(GlobalHotKeyAction::quickFix),
        u"⌃⌥K is unavailable. Choose another shortcut or change the conflicting shortcut in the other app."_qs);

    model.setRecordingHotKey(true);
    EXPECT_TRUE(model.hotKeyMessages().empty()); // a stale failure goes while the user types
    model.setShortcut(free, GlobalHotKeyAction::quickFix);
    model.setRecordingHotKey(false);
    EXPECT_EQ(h.hotKeys.registrations.back().at(GlobalHotKeyAction::quickFix), free);
    EXPECT_TRUE(model.hotKeyMessages().empty());
}

TEST_F(AppModelStart, ChoosingAProviderFromAWindowLeavesTheHUDClosed)
{
    for (const ProviderKind kind : { ProviderKind::claude, ProviderKind::ollama }) {
        model.selectProvider(kind);
        EXPECT_EQ(model.provider(), kind);
        EXPECT_FALSE(model.isQuickHUDOpen());
    }
}

TEST_F(AppModelStart, HotKeyPressesOpenTheHUDAndTheWorkspace)
{
    int opened = 0;
    model.setWorkspaceOpener([&] { ++opened; });
    model.start();
    h.selection.nextCapture = AppModelHarness::snapshot(u"picked"_qs);
    h.hotKeys.onPressed(GlobalHotKeyAction::quickCommand);
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::compose);
    EXPECT_EQ(model.workingSourceText(), u"picked"_qs);
    EXPECT_EQ(h.windows.calls.last(), u"showQuickHUD"_qs);

    h.hotKeys.onPressed(GlobalHotKeyAction::openWorkspace);
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::bubble);
    EXPECT_EQ(model.workingSourceText(), u"picked"_qs); // the session carries over
    EXPECT_EQ(opened, 1);
    EXPECT_FALSE(h.windows.calls.contains(u"bringWorkspaceForward"_qs)); // only on the next turn
    drainEvents();
    EXPECT_EQ(h.windows.calls.last(), u"bringWorkspaceForward"_qs);
    EXPECT_EQ(h.analytics.typeNames().mid(0, 2), (QStringList { u"QUICK_COMMAND_OPENED"_qs, u"WORKSPACE_OPENED"_qs }));
}

TEST_F(AppModelStart, OpeningWithoutCaptureFallsBackAndExplainsMissingPermission)
{
    h.desktop.trusted = false;
    model.setObservedSnapshot(std::nullopt);
    model.presentQuickHUD(QuickHUDTrigger::globalHotKey); // capture finds nothing
    EXPECT_FALSE(model.snapshot());
    EXPECT_EQ(model.statusMessage(),
        u"Enable Accessibility to capture selected text or a writing cursor. You can still "
        u"generate and copy content."_qs);

    const auto observed = AppModelHarness::snapshot(u"seen"_qs);
    model.setObservedSnapshot(observed);
    model.presentQuickHUD(QuickHUDTrigger::globalHotKey); // capture finds nothing
    EXPECT_EQ(model.snapshot(), observed);
    EXPECT_FALSE(model.statusMessage());
}

TEST_F(AppModelStart, DismissalDropsTheSessionButNotTheObservedSelection)
{
    model.start();
    h.selection.onSelectionChanged(AppModelHarness::snapshot(u"seen"_qs));
    h.openHUD(u"text"_qs);
    h.generate();
    model.dismissQuickHUD();
    EXPECT_FALSE(model.isGenerating());
    EXPECT_FALSE(model.snapshot());
    EXPECT_TRUE(model.instruction().isEmpty());
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::bubble);
    EXPECT_EQ(h.windows.calls.last(), u"hideQuickHUD"_qs);
    ASSERT_TRUE(model.observedSnapshot());
}

struct ObservedCase : NamedRow {
    std::optional<QString> text;
    bool bubbleSetting;
    bool hudOpen;
    bool expectObserved;
    QString expectCall; // empty: no bubble call
};

class ObservedSelection : public AppModelStart, public ::testing::WithParamInterface<ObservedCase> { };

TEST_P(ObservedSelection, FeedsTheBubble)
{
    const ObservedCase& c = GetParam();
    h.settings.setShowSelectionBubble(c.bubbleSetting);
    model.start();
    if (c.hudOpen)
        h.openHUD(u"session"_qs);
    h.windows.calls.clear();
    h.selection.onSelectionChanged(AppModelHarness::snapshot(c.text));
    EXPECT_EQ(model.observedSnapshot().has_value(), c.expectObserved);
    EXPECT_EQ(h.windows.calls.join(u","_qs), c.expectCall);
    if (c.hudOpen) {
        EXPECT_EQ(model.snapshot()->text, u"session"_qs); // an open HUD never reacts
    }
}

BRINDLET_ROWS(AppModel, ObservedSelection,
    ObservedCase { "visibleText", u"hello"_qs, true, false, true, u"showSelectionBubble"_qs },
    ObservedCase { "blanksOnly", u"  \n"_qs, true, false, false, u"hideSelectionBubble"_qs },
    ObservedCase { "cursor", std::nullopt, true, false, false, u"hideSelectionBubble"_qs },
    ObservedCase { "bubbleTurnedOff", u"hello"_qs, false, false, true, u"hideSelectionBubble"_qs },
    ObservedCase { "hudOpen", u"hello"_qs, true, true, true, u""_qs });

} // namespace
