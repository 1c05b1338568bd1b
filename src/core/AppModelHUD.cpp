// The Quick HUD: opening sessions, the bubble, moves inside the panel, and how a result leaves it.

#include "AppModel.h"

#include "analytics/AnalyticsTracking.h"
#include "domain/VisibleText.h"
#include "platform/AccessibilityServing.h"
#include "platform/PasteboardServing.h"
#include "platform/WorkspaceServing.h"
#include "providers/AIProviding.h"
#include "selection/SelectionServing.h"
#include "settings/SettingsStore.h"
#include "shortcuts/GlobalHotKeyManaging.h"
#include "windows/WindowCoordinating.h"

#include "AnalyticsWords.h"
#include "domain/DescribedError.h"

namespace brindlet {

namespace {
class NoWindows final : public WindowCoordinating {
public:
    void quickHUDPhaseDidChange(QuickHUDPhase) override { }
    void showQuickHUD(std::optional<Rect>, std::optional<std::int32_t>) override { }
    void hideQuickHUD() override { }
    void showSelectionBubble(std::optional<Rect>) override { }
    void hideSelectionBubble() override { }
    void closeApplicationWindows() override { }
    void bringWorkspaceForward() override { }
    void resignKeyboard() override { }
};
} // namespace

WindowCoordinating& AppModel::windows() const
{
    static NoWindows none;
    return services_.windows ? *services_.windows : none;
}

using namespace std::chrono_literals;

namespace {
const QString enableAccessibilityForCapture = QStringLiteral(
    "Enable Accessibility to capture selected text or a writing cursor. You can still generate and copy content.");
} // namespace

void AppModel::presentQuickHUD(QuickHUDTrigger trigger)
{
    setAccessibilityGranted(services_.accessibility->isProcessTrusted());
    std::optional<SelectionSnapshot> chosen;
    if (trigger == QuickHUDTrigger::workspaceToolbar && snapshot_)
        chosen = snapshot_; // the workspace hands over what it has
    else
        chosen = services_.selectionService->capture(true);
    if (!chosen)
        chosen = observedSnapshot_;
    record(AnalyticsEventType::quickCommandOpened, openedWords(analyticsWord(trigger), QStringLiteral("quick_hud")));
    openSession(chosen, trigger);
}

void AppModel::handleObservedSelection(const std::optional<SelectionSnapshot>& snapshot)
{
    setAccessibilityGranted(services_.accessibility->isProcessTrusted());
    // A cursor, or text of blanks only, counts as no selection.
    std::optional<SelectionSnapshot> counted;
    if (snapshot && snapshot->text && hasVisibleCharacters(*snapshot->text))
        counted = snapshot;
    setObservedSnapshot(counted);
    if (isQuickHUDOpen())
        return; // an open HUD never reacts to the selection
    if (services_.settings->showSelectionBubble() && counted) {
        moveToPhase(QuickHUDPhase::bubble);
        windows().showSelectionBubble(counted->bounds);
        return;
    }
    windows().hideSelectionBubble();
}

void AppModel::openSession(const std::optional<SelectionSnapshot>& snapshot, QuickHUDTrigger trigger)
{
    cancelGeneration(false);
    stopDelivery();
    cancelTimedSteps();
    resetSession(snapshot);
    if (snapshot || accessibilityGranted_)
        setStatusMessage(std::nullopt);
    else
        setStatusMessage(enableAccessibilityForCapture);
    setQuickHUDTrigger(trigger);
    moveToPhase(QuickHUDPhase::compose);
    showHUDAt(snapshot);
}

void AppModel::showHUDAt(const std::optional<SelectionSnapshot>& snapshot)
{
    windows().showQuickHUD(snapshot ? snapshot->bounds : std::nullopt,
        snapshot && snapshot->target ? std::optional(snapshot->target->processID) : std::nullopt);
}

void AppModel::dismissQuickHUD()
{
    cancelTimedSteps();
    cancelGeneration(false);
    stopDelivery();
    resetSession(std::nullopt); // a result not delivered is gone
    setStatusMessage(std::nullopt);
    moveToPhase(QuickHUDPhase::bubble);
    windows().hideQuickHUD();
}

void AppModel::openWorkspace()
{
    record(AnalyticsEventType::workspaceOpened, openedWords(QStringLiteral("workspace"), QStringLiteral("workspace")));
    // The session carries over into the workspace; a running generation goes on.
    if (isQuickHUDOpen()) {
        moveToPhase(QuickHUDPhase::bubble);
        windows().hideQuickHUD();
    }
    if (workspaceOpener_)
        workspaceOpener_();
    QPointer<AppModel> weak(this);
    postToMainThread([weak] {
        if (weak)
            weak->windows().bringWorkspaceForward();
    });
}

void AppModel::cancelTimedSteps()
{
    for (auto* task : { &confirmationTask_, &quickFixStatusTask_ }) {
        if (*task)
            (*task)->cancel();
        task->reset();
    }
}

void AppModel::moveToPhase(QuickHUDPhase phase)
{
    setQuickHUDPhase(phase);
    windows().quickHUDPhaseDidChange(phase);
}

void AppModel::moveIfAnswered(std::optional<QuickHUDPhase> phase)
{
    if (phase)
        moveToPhase(*phase);
}

QuickHUDFlow::Facts AppModel::hudFacts() const
{
    return { quickHUDPhase_, isGenerating_, isDelivering_, hasResult(), snapshot_ && snapshot_->hasText() };
}

// ---- the bubble ----

void AppModel::scheduleBubbleRecheck()
{
    // Covers the moment this application loses the focus, which the monitor does not see.
    if (!isQuickHUDOpen() && services_.settings->showSelectionBubble())
        spawn(recheckBubbleLater(QPointer<AppModel>(this)));
}

Task<void> AppModel::recheckBubbleLater(QPointer<AppModel> model)
{
    co_await sleepFor(80ms);
    if (!model || model->services_.workspace->isApplicationActive() || model->isQuickHUDOpen()
        || !model->services_.settings->showSelectionBubble())
        co_return;
    const auto snapshot = model->services_.selectionService->recheckPassively();
    if (snapshot && snapshot->text && hasVisibleCharacters(*snapshot->text)) {
        model->setObservedSnapshot(snapshot);
        model->windows().showSelectionBubble(snapshot->bounds);
    } else {
        model->setObservedSnapshot(std::nullopt);
        model->windows().hideSelectionBubble();
    }
}

void AppModel::selectionBubblePressed()
{
    if (!observedSnapshot_)
        return;
    // The observed value may be stale: capture afresh before trusting it.
    const auto snapshot = services_.selectionService->recheckPassively();
    if (snapshot && snapshot->text && hasVisibleCharacters(*snapshot->text)) {
        setObservedSnapshot(snapshot);
        record(AnalyticsEventType::quickCommandOpened,
            openedWords(analyticsWord(QuickHUDTrigger::selectionBubble), QStringLiteral("quick_hud")));
        openSession(snapshot, QuickHUDTrigger::selectionBubble);
        return;
    }
    setObservedSnapshot(std::nullopt);
    windows().hideSelectionBubble();
}

// ---- moves inside the HUD ----

void AppModel::toggleMoreActions()
{
    moveIfAnswered(hudFlow_.toggleMoreActions(hudFacts()));
}

void AppModel::toggleProviderPicker()
{
    const auto target = hudFlow_.toggleProviderPicker(hudFacts());
    moveIfAnswered(target);
    if (target == QuickHUDPhase::providerPicker && provider_ == ProviderKind::ollama && ollamaModels().isEmpty())
        refreshOllamaModels();
}

void AppModel::openSourceDetail(bool editing)
{
    const auto detail = hudFlow_.openSourceDetail(hudFacts(), editing);
    if (!detail)
        return;
    setSourceDetailMode(detail->mode);
    moveToPhase(detail->phase);
}

void AppModel::closeSourceDetail()
{
    const auto target = hudFlow_.closeSourceDetail(hudFacts());
    if (!target)
        return;
    setSourceDetailMode(QuickHUDSourceMode::read);
    moveToPhase(*target);
}

void AppModel::revertSourceEdits()
{
    if (!snapshot_ || !snapshot_->hasText())
        return;
    setWorkingSourceText(*snapshot_->text);
    setStatusMessage(std::nullopt);
}

void AppModel::returnToCompose()
{
    const auto target = hudFlow_.returnToCompose(hudFacts());
    if (!target)
        return;
    setStatusMessage(std::nullopt);
    moveToPhase(*target);
}

void AppModel::reviewRetainedResult()
{
    const auto target = hudFlow_.reviewRetainedResult(hudFacts());
    if (!target)
        return;
    setStatusMessage(std::nullopt);
    moveToPhase(*target);
}

void AppModel::discardResult()
{
    if (!hasResult() || isGenerating_ || isDelivering_)
        return;
    setResult(QString());
    setResultContext(std::nullopt);
    lastGenerationRequest_.reset();
    setStatusMessage(std::nullopt);
    windows().quickHUDPhaseDidChange(quickHUDPhase_);
}

// ---- how a result leaves ----

void AppModel::giveUpKeyboard()
{
    // The panel stays on screen; the source application can take the focus.
    windows().resignKeyboard();
}

void AppModel::deliver()
{
    // A result made without a source is always copied, whatever the labels say.
    if (!resultContext_ || !resultContext_->snapshot)
        return copyResult();
    const QString text = result_;
    const SelectionSnapshot snapshot = *resultContext_->snapshot;
    if (deliveryTask_)
        deliveryTask_->cancel();
    setIsDelivering(true);
    setStatusMessage(QStringLiteral("Returning to ")
        + resultContext_->appName.value_or(QStringLiteral("the source app")) + QStringLiteral("…"));
    giveUpKeyboard();
    deliveryTask_ = spawn(runDelivery(
        QPointer<AppModel>(this), services_.selectionService, text, snapshot, resultContext_->delivery, std::nullopt));
}

Task<void> AppModel::runDelivery(QPointer<AppModel> model, SelectionServing* selection, QString text,
    SelectionSnapshot snapshot, DeliveryPreference preference, std::optional<GenerationRequest> quickFixRequest)
{
    std::optional<QString> status;
    std::exception_ptr error;
    try {
        status = co_await selection->deliver(text, snapshot, preference);
    } catch (...) {
        error = std::current_exception();
    }
    const bool cancelled = co_await isTaskCancelled();
    // Whoever cancelled has cleared isDelivering or set it anew.
    if (!model || cancelled)
        co_return;
    if (quickFixRequest)
        model->finishQuickFixDelivery(text, *quickFixRequest, status, error);
    else
        model->finishDelivery(text, snapshot, preference, status, error);
}

void AppModel::finishDelivery(const QString& text, const SelectionSnapshot& snapshot, DeliveryPreference preference,
    const std::optional<QString>& status, const std::exception_ptr& error)
{
    const bool current
        = result_ == text && resultContext_ && resultContext_->snapshot && resultContext_->snapshot->id == snapshot.id;
    if (current && status) {
        record(AnalyticsEventType::deliveryCompleted,
            deliveryWords(QStringLiteral("quick_hud"), preference, deliveredOutcome(preference)));
        if (!isQuickHUDOpen())
            setStatusMessage(*status);
        else
            showConfirmation(*status);
    } else if (current) {
        record(AnalyticsEventType::deliveryFailed,
            deliveryWords(QStringLiteral("quick_hud"), preference, errorClass(error)));
        setStatusMessage(describe(error));
        if (isQuickHUDOpen())
            moveToPhase(QuickHUDPhase::review); // the result is not lost; it can still be copied
    }
    setIsDelivering(false);
    deliveryTask_.reset();
}

void AppModel::copyResult()
{
    if (result_.isEmpty())
        return;
    services_.pasteboard->clearContents();
    services_.pasteboard->setString(result_);
    const bool inWorkspace = !isQuickHUDOpen();
    record(AnalyticsEventType::deliveryCompleted,
        deliveryWords(inWorkspace ? QStringLiteral("workspace") : QStringLiteral("quick_hud"), DeliveryPreference::copy,
            QStringLiteral("copied")));
    if (inWorkspace)
        setStatusMessage(QStringLiteral("Copied to the clipboard."));
    else
        showConfirmation(QStringLiteral("Copied"));
}

void AppModel::showConfirmation(const QString& message)
{
    setStatusMessage(message);
    moveToPhase(QuickHUDPhase::confirmation);
    if (confirmationTask_)
        confirmationTask_->cancel();
    confirmationTask_ = spawn(dismissAfter(QPointer<AppModel>(this), 700ms, QuickHUDPhase::confirmation));
}

Task<void> AppModel::dismissAfter(QPointer<AppModel> model, Duration delay, QuickHUDPhase phase)
{
    try {
        co_await sleepFor(delay);
    } catch (const CancellationError&) {
        // An interrupted wait falls through to the same test as one that ends.
    }
    const bool cancelled = co_await isTaskCancelled();
    if (model && !cancelled && model->quickHUDPhase_ == phase)
        model->dismissQuickHUD();
}

} // namespace brindlet
