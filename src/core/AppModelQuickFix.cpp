// Quick Fix: the selection corrected in place, with no question asked.

#include "AppModel.h"

#include "analytics/AnalyticsTracking.h"
#include "platform/AccessibilityServing.h"
#include "platform/PasteboardServing.h"
#include "platform/WorkspaceServing.h"
#include "providers/AIProviding.h"
#include "selection/SelectionServing.h"
#include "settings/SettingsStore.h"
#include "shortcuts/GlobalHotKeyManaging.h"
#include "windows/WindowCoordinating.h"

#include "AnalyticsWords.h"
#include "CommandRules.h"
#include "domain/DescribedError.h"
#include "domain/Prompt.h"

namespace brindlet {

using namespace std::chrono_literals;

void AppModel::startQuickFix()
{
    cancelTimedSteps();
    cancelGeneration(false);
    stopDelivery();
    setAccessibilityGranted(services_.accessibility->isProcessTrusted());
    record(AnalyticsEventType::quickFixStarted, quickFixWords(provider_, std::nullopt));

    const auto snapshot = services_.selectionService->capture(true);
    if (!snapshot || !snapshot->hasText()) {
        record(AnalyticsEventType::quickFixCompleted, quickFixWords(provider_, QStringLiteral("validation")));
        return showQuickFixStatus(QStringLiteral("Select text first"), std::nullopt, true);
    }
    if (!snapshot->target || !snapshot->target->isSettable) {
        record(AnalyticsEventType::quickFixCompleted, quickFixWords(provider_, QStringLiteral("rejected")));
        return showQuickFixStatus(QStringLiteral("This selection cannot be replaced."), snapshot, false);
    }
    std::optional<Preset> preset;
    for (const Preset& candidate : allPresets()) {
        if (candidate.isBuiltIn && candidate.name == QLatin1String("Fix Writing")) {
            preset = candidate;
            break;
        }
    }
    if (!preset) {
        record(AnalyticsEventType::quickFixCompleted, quickFixWords(provider_, QStringLiteral("provider_unavailable")));
        return showQuickFixStatus(QStringLiteral("Fix Writing is unavailable."), snapshot, false);
    }

    resetSession(snapshot);
    setSelectedPresetID(preset->id);
    setIsQuickFixSession(true);
    setQuickHUDTrigger(QuickHUDTrigger::globalHotKey);
    setStatusMessage(QStringLiteral("Fixing selected text…"));
    moveToPhase(QuickHUDPhase::quickFixGenerating);
    showHUDAt(snapshot);

    // The text goes as captured: no direction, no working copy, and always a replacement.
    beginGeneration(GenerationRequest::make(QString(), preset, snapshot->text, provider_, currentConfiguration(),
                        snapshot, DeliveryPreference::replace),
        GenerationMode::quickFix);
}

void AppModel::showQuickFixStatus(
    const QString& message, const std::optional<SelectionSnapshot>& snapshot, bool autoDismiss)
{
    resetSession(snapshot);
    setIsQuickFixSession(true);
    setStatusMessage(message);
    setQuickHUDTrigger(QuickHUDTrigger::globalHotKey);
    moveToPhase(QuickHUDPhase::quickFixStatus);
    showHUDAt(snapshot);
    if (autoDismiss)
        quickFixStatusTask_ = spawn(dismissAfter(QPointer<AppModel>(this), 1250ms, QuickHUDPhase::quickFixStatus));
}

void AppModel::continueQuickFix(const GenerationRequest& request)
{
    const QString source = request.snapshot && request.snapshot->text ? *request.snapshot->text : QString();
    const QString fixed = result_;
    if (!fixChangesNothing(source, fixed))
        return replaceWithFix(fixed, request);
    record(AnalyticsEventType::quickFixCompleted, quickFixWords(provider_, QStringLiteral("unchanged")));
    showConfirmation(QStringLiteral("Already looks good"));
}

void AppModel::replaceWithFix(const QString& text, const GenerationRequest& request)
{
    if (!request.snapshot) {
        setStatusMessage(QStringLiteral("The original selection is no longer available."));
        setIsQuickFixSession(false);
        moveToPhase(QuickHUDPhase::review);
        return;
    }
    setIsDelivering(true);
    setStatusMessage(QStringLiteral("Replacing in ") + request.snapshot->appName + QStringLiteral("…"));
    moveToPhase(QuickHUDPhase::quickFixGenerating);
    giveUpKeyboard();
    deliveryTask_ = spawn(runDelivery(QPointer<AppModel>(this), services_.selectionService, text, *request.snapshot,
        DeliveryPreference::replace, request));
}

void AppModel::finishQuickFixDelivery(const QString& text, const GenerationRequest& request,
    const std::optional<QString>& status, const std::exception_ptr& error)
{
    setIsDelivering(false);
    deliveryTask_.reset();
    // Superseded: a new session cancels this task, so only a regeneration that replaced the result
    // gets here. It stands; the old write neither confirms nor counts.
    if (!resultContext_ || !resultContext_->snapshot || resultContext_->snapshot->id != request.snapshot->id
        || result_ != text)
        return;
    AnalyticsDimensions dimensions = quickFixWords(provider_, std::nullopt);
    dimensions.provider = wireName(request.provider);
    if (!status) {
        dimensions.outcome = errorClass(error);
        record(AnalyticsEventType::deliveryFailed, dimensions);
        setIsQuickFixSession(false);
        setStatusMessage(describe(error));
        moveToPhase(QuickHUDPhase::review); // the result is on screen and can be delivered or copied
        return;
    }
    dimensions.outcome = QStringLiteral("replaced");
    record(AnalyticsEventType::deliveryCompleted, dimensions);
    dimensions.outcome = QStringLiteral("success");
    record(AnalyticsEventType::quickFixCompleted, dimensions);
    showConfirmation(QStringLiteral("Fixed in ") + request.snapshot->appName);
}

} // namespace brindlet
