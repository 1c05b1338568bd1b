#pragma once

#include "analytics/AnalyticsEvent.h"
#include "core/HotKeyRegistration.h"
#include "core/ProviderStatus.h"
#include "core/QuickHUDFlow.h"
#include "domain/GenerationRequest.h"
#include "domain/Preset.h"
#include "domain/SessionTypes.h"
#include "tasks/Runtime.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUuid>

#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace brindlet {

class AIProviding;
class AccessibilityServing;
class AnalyticsTracking;
class GlobalHotKeyManaging;
class PasteboardServing;
class SelectionServing;
class SettingsStore;
class WindowCoordinating;
class WorkspaceServing;

// The collaborators the model drives. The caller owns them and keeps them alive as long as
// the model; the window coordinator may arrive later, since it is built on the model.
struct AppServices {
    SettingsStore* settings = nullptr;
    AccessibilityServing* accessibility = nullptr;
    SelectionServing* selectionService = nullptr;
    AIProviding* providerService = nullptr;
    GlobalHotKeyManaging* hotKey = nullptr;
    AnalyticsTracking* analytics = nullptr;
    PasteboardServing* pasteboard = nullptr;
    WorkspaceServing* workspace = nullptr;
    WindowCoordinating* windows = nullptr;
};

// The one owner of user-visible state. Everything runs on the main thread; generations are
// tasks keyed by their request's id, and a late answer for another id is never trusted.
class AppModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(std::optional<brindlet::SelectionSnapshot> snapshot READ snapshot NOTIFY snapshotChanged)
    Q_PROPERTY(std::optional<brindlet::SelectionSnapshot> observedSnapshot READ observedSnapshot NOTIFY
            observedSnapshotChanged)
    Q_PROPERTY(
        QString workingSourceText READ workingSourceText WRITE setWorkingSourceText NOTIFY workingSourceTextChanged)
    Q_PROPERTY(QString instruction READ instruction WRITE setInstruction NOTIFY instructionChanged)
    // The user may edit a result before using it.
    Q_PROPERTY(QString result READ result WRITE setResult NOTIFY resultChanged)
    Q_PROPERTY(QString generationPreview READ generationPreview NOTIFY generationPreviewChanged)
    Q_PROPERTY(std::optional<QUuid> selectedPresetID READ selectedPresetID WRITE setSelectedPresetID NOTIFY
            selectedPresetIDChanged)
    Q_PROPERTY(
        QString presetSearchQuery READ presetSearchQuery WRITE setPresetSearchQuery NOTIFY presetSearchQueryChanged)
    Q_PROPERTY(QString quickPresetName READ quickPresetName WRITE setQuickPresetName NOTIFY quickPresetNameChanged)
    Q_PROPERTY(QString quickPresetInstruction READ quickPresetInstruction WRITE setQuickPresetInstruction NOTIFY
            quickPresetInstructionChanged)
    Q_PROPERTY(brindlet::ProviderKind provider READ provider WRITE setProvider NOTIFY providerChanged)
    Q_PROPERTY(bool isGenerating READ isGenerating NOTIFY isGeneratingChanged)
    Q_PROPERTY(std::optional<QString> statusMessage READ statusMessage NOTIFY statusMessageChanged)
    // The status message for QML, which cannot read an optional: empty when there is none.
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusMessageChanged)
    Q_PROPERTY(bool accessibilityGranted READ accessibilityGranted NOTIFY accessibilityGrantedChanged)
    Q_PROPERTY(brindlet::SettingsSection settingsSection READ settingsSection WRITE setSettingsSection NOTIFY
            settingsSectionChanged)
    Q_PROPERTY(
        std::optional<brindlet::GeneratedResultContext> resultContext READ resultContext NOTIFY resultContextChanged)
    Q_PROPERTY(bool isDelivering READ isDelivering NOTIFY isDeliveringChanged)
    Q_PROPERTY(brindlet::QuickHUDSourceMode sourceDetailMode READ sourceDetailMode NOTIFY sourceDetailModeChanged)
    Q_PROPERTY(brindlet::QuickHUDPhase quickHUDPhase READ quickHUDPhase NOTIFY quickHUDPhaseChanged)
    Q_PROPERTY(bool isQuickHUDOpen READ isQuickHUDOpen NOTIFY quickHUDPhaseChanged)
    Q_PROPERTY(brindlet::QuickHUDTrigger quickHUDTrigger READ quickHUDTrigger NOTIFY quickHUDTriggerChanged)
    Q_PROPERTY(brindlet::HotKeyMessages hotKeyMessages READ hotKeyMessages NOTIFY hotKeyMessagesChanged)
    Q_PROPERTY(bool isQuickFixSession READ isQuickFixSession NOTIFY isQuickFixSessionChanged)
    Q_PROPERTY(brindlet::ProviderReadinessMap providerReadiness READ providerReadiness NOTIFY providerReadinessChanged)
    Q_PROPERTY(bool isRefreshingOllamaModels READ isRefreshingOllamaModels NOTIFY isRefreshingOllamaModelsChanged)
    Q_PROPERTY(int onboardingStep READ onboardingStep WRITE setOnboardingStep NOTIFY onboardingStepChanged)
    Q_PROPERTY(std::optional<brindlet::MarketingPreviewState> marketingPreviewState READ marketingPreviewState NOTIFY
            marketingPreviewStateChanged)

public:
    explicit AppModel(AppServices services, QObject* parent = nullptr);
    ~AppModel() override;

    void setWindows(WindowCoordinating* windows) { services_.windows = windows; }
    void setWorkspaceOpener(std::function<void()> opener) { workspaceOpener_ = std::move(opener); }
    SettingsStore& settings() const { return *services_.settings; }

    // Observable fields.
    const std::optional<brindlet::SelectionSnapshot>& snapshot() const { return snapshot_; }
    const std::optional<brindlet::SelectionSnapshot>& observedSnapshot() const { return observedSnapshot_; }
    const QString& workingSourceText() const { return workingSourceText_; }
    const QString& instruction() const { return instruction_; }
    const QString& result() const { return result_; }
    const QString& generationPreview() const { return generationPreview_; }
    const std::optional<QUuid>& selectedPresetID() const { return selectedPresetID_; }
    const QString& presetSearchQuery() const { return presetSearchQuery_; }
    const QString& quickPresetName() const { return quickPresetName_; }
    const QString& quickPresetInstruction() const { return quickPresetInstruction_; }
    brindlet::ProviderKind provider() const { return provider_; }
    bool isGenerating() const { return isGenerating_; }
    const std::optional<QString>& statusMessage() const { return statusMessage_; }
    QString statusText() const { return statusMessage_.value_or(QString()); }
    bool accessibilityGranted() const { return accessibilityGranted_; }
    brindlet::SettingsSection settingsSection() const { return settingsSection_; }
    const std::optional<brindlet::GeneratedResultContext>& resultContext() const { return resultContext_; }
    bool isDelivering() const { return isDelivering_; }
    brindlet::QuickHUDSourceMode sourceDetailMode() const { return sourceDetailMode_; }
    brindlet::QuickHUDPhase quickHUDPhase() const { return quickHUDPhase_; }
    brindlet::QuickHUDTrigger quickHUDTrigger() const { return quickHUDTrigger_; }
    const brindlet::HotKeyMessages& hotKeyMessages() const { return hotKeyMessages_; }
    bool isQuickFixSession() const { return isQuickFixSession_; }
    const brindlet::ProviderReadinessMap& providerReadiness() const { return providerStatus_.readiness(); }
    bool isRefreshingOllamaModels() const { return providerStatus_.isRefreshingOllamaModels(); }
    int onboardingStep() const { return onboardingStep_; }
    const std::optional<brindlet::MarketingPreviewState>& marketingPreviewState() const
    {
        return marketingPreviewState_;
    }

    void setSnapshot(const std::optional<brindlet::SelectionSnapshot>& value);
    void setObservedSnapshot(const std::optional<brindlet::SelectionSnapshot>& value);
    void setWorkingSourceText(const QString& value);
    void setInstruction(const QString& value);
    void setResult(const QString& value);
    void setSelectedPresetID(const std::optional<QUuid>& value);
    void setPresetSearchQuery(const QString& value);
    void setQuickPresetName(const QString& value);
    void setQuickPresetInstruction(const QString& value);
    void setProvider(brindlet::ProviderKind value);
    void setStatusMessage(const std::optional<QString>& value);
    void setSettingsSection(brindlet::SettingsSection value);
    void setOnboardingStep(int value);
    void setMarketingPreviewState(const std::optional<brindlet::MarketingPreviewState>& value);

    // Derived values.
    // The HUD is closed exactly when its phase is `bubble`; then at most the selection bubble is
    // on screen, and flows that run meanwhile belong to the workspace.
    bool isQuickHUDOpen() const { return quickHUDPhase_ != QuickHUDPhase::bubble; }
    QList<Preset> allPresets() const;
    std::optional<Preset> selectedPreset() const;
    // The presets on offer now, by whether text is captured.
    QList<Preset> primaryPresets() const;
    QList<Preset> availablePresets() const;
    QList<Preset> visiblePresets() const;
    bool isPresetApplicable(const Preset& preset) const;
    bool hasResult() const;
    bool isSourceEdited() const;
    bool isProviderReady() const;
    QStringList ollamaModels() const;
    QString providerLabel() const;
    QString deliveryLabel() const;

    // Plain fields, readable for the shell and for tests.
    const std::optional<QUuid>& activeGenerationID() const { return activeGenerationID_; }
    const std::optional<GenerationRequest>& activeGenerationRequest() const { return activeGenerationRequest_; }
    const std::optional<GenerationMode>& activeGenerationMode() const { return activeGenerationMode_; }
    const std::optional<GenerationRequest>& lastGenerationRequest() const { return lastGenerationRequest_; }
    const std::optional<TaskHandle>& generationTask() const { return generationTask_; }
    const std::optional<TaskHandle>& deliveryTask() const { return deliveryTask_; }
    const std::optional<TaskHandle>& confirmationTask() const { return confirmationTask_; }
    const std::optional<TaskHandle>& quickFixStatusTask() const { return quickFixStatusTask_; }
    const RepeatingTimer* permissionTimer() const { return permissionTimer_.get(); }
    const QHash<QUuid, Clock::time_point>& generationStartedAt() const { return generationStartedAt_; }
    bool started() const { return started_; }

    // Start-up and permission.
    Q_INVOKABLE void start();
    Q_INVOKABLE void refreshAccessibilityPermission();
    Q_INVOKABLE void requestAccessibilityPermission();

    // The generation lifecycle.
    Q_INVOKABLE void generate(const std::optional<Preset>& preset = std::nullopt);
    void beginGeneration(const GenerationRequest& request, GenerationMode mode);
    Q_INVOKABLE void regenerate();
    Q_INVOKABLE void cancelGeneration(bool reportCancelled);
    Q_INVOKABLE void userCancelGeneration();
    Q_INVOKABLE void stopDelivery();
    void resetSession(const std::optional<SelectionSnapshot>& snapshot);
    Q_INVOKABLE void clearSession();

    // Opening and closing the HUD and the workspace; the bubble.
    Q_INVOKABLE void presentQuickHUD(QuickHUDTrigger trigger);
    void handleObservedSelection(const std::optional<SelectionSnapshot>& snapshot);
    Q_INVOKABLE void scheduleBubbleRecheck();
    Q_INVOKABLE void selectionBubblePressed();
    Q_INVOKABLE void dismissQuickHUD();
    Q_INVOKABLE void openWorkspace();

    // Moves inside the HUD.
    Q_INVOKABLE void toggleMoreActions();
    // Presets: choosing (a plain action on selected text runs at once), making, and the way to
    // the settings where custom presets are edited and deleted.
    Q_INVOKABLE void choosePreset(const brindlet::Preset& preset);
    Q_INVOKABLE void chooseHUDPreset(const brindlet::Preset& preset);
    std::optional<Preset> createPreset(
        const QString& name, const QString& instruction, PresetInput input, DeliveryPreference delivery);
    Q_INVOKABLE void openQuickPresetEditor();
    Q_INVOKABLE void cancelQuickPresetEditor();
    Q_INVOKABLE void saveQuickPreset();
    Q_INVOKABLE void openPresetSettings();
    Q_INVOKABLE void openSettingsWindow();
    void setSettingsOpener(std::function<void()> opener) { settingsOpener_ = std::move(opener); }
    Q_INVOKABLE void toggleProviderPicker();
    Q_INVOKABLE void openSourceDetail(bool editing);
    Q_INVOKABLE void closeSourceDetail();
    Q_INVOKABLE void revertSourceEdits();
    Q_INVOKABLE void returnToCompose();
    Q_INVOKABLE void reviewRetainedResult();
    Q_INVOKABLE void discardResult();

    // How a result leaves the HUD.
    Q_INVOKABLE void deliver();
    Q_INVOKABLE void copyResult();
    void showConfirmation(const QString& message);

    // Quick Fix.
    Q_INVOKABLE void startQuickFix();
    void showQuickFixStatus(const QString& message, const std::optional<SelectionSnapshot>& snapshot, bool autoDismiss);
    void replaceWithFix(const QString& text, const GenerationRequest& request);

    // Providers, setup and shortcuts.
    Q_INVOKABLE void selectProvider(brindlet::ProviderKind kind);
    Q_INVOKABLE void selectOllamaModel(const QString& name, bool selectProvider, bool closePicker);
    Q_INVOKABLE void refreshProviderReadiness();
    Q_INVOKABLE void refreshOllamaModels();
    Q_INVOKABLE void setAnalyticsEnabled(bool value);
    Q_INVOKABLE void finishOnboarding();
    Q_INVOKABLE void restartOnboarding();
    Q_INVOKABLE void reregisterHotKeys();
    Q_INVOKABLE void setShortcut(const std::optional<HotKeyShortcut>& shortcut, GlobalHotKeyAction action);
    // The shortcut recorder's state: while it records, the global shortcuts are off.
    Q_INVOKABLE void setRecordingHotKey(bool recording);

signals:
    void snapshotChanged();
    void observedSnapshotChanged();
    void workingSourceTextChanged();
    void instructionChanged();
    void resultChanged();
    void generationPreviewChanged();
    void selectedPresetIDChanged();
    void presetSearchQueryChanged();
    void quickPresetNameChanged();
    void quickPresetInstructionChanged();
    void providerChanged();
    void isGeneratingChanged();
    void statusMessageChanged();
    void accessibilityGrantedChanged();
    void settingsSectionChanged();
    void resultContextChanged();
    void isDeliveringChanged();
    void sourceDetailModeChanged();
    void quickHUDPhaseChanged();
    void quickHUDTriggerChanged();
    void hotKeyMessagesChanged();
    void isQuickFixSessionChanged();
    void providerReadinessChanged();
    void isRefreshingOllamaModelsChanged();
    void onboardingStepChanged();
    void marketingPreviewStateChanged();

private:
    // Fields that only the model's own operations change.
    void setGenerationPreview(const QString& value);
    void setIsGenerating(bool value);
    void setAccessibilityGranted(bool value);
    void setResultContext(const std::optional<brindlet::GeneratedResultContext>& value);
    void setIsDelivering(bool value);
    void setSourceDetailMode(brindlet::QuickHUDSourceMode value);
    void setQuickHUDPhase(brindlet::QuickHUDPhase value);
    void setQuickHUDTrigger(brindlet::QuickHUDTrigger value);
    void setHotKeyMessages(const brindlet::HotKeyMessages& value);
    void setIsQuickFixSession(bool value);

    static Task<void> runGeneration(
        QPointer<AppModel> model, AIProviding* providers, GenerationRequest request, GenerationMode mode);
    static Task<void> applyPreview(QPointer<AppModel> model, QUuid requestID, QString text);
    static Task<void> runDelivery(QPointer<AppModel> model, SelectionServing* selection, QString text,
        SelectionSnapshot snapshot, DeliveryPreference preference, std::optional<GenerationRequest> quickFixRequest);
    static Task<void> dismissAfter(QPointer<AppModel> model, Duration delay, QuickHUDPhase phase);
    static Task<void> recheckBubbleLater(QPointer<AppModel> model);

    void finishGeneration(const GenerationRequest& request, GenerationMode mode, const std::optional<QString>& text,
        const std::exception_ptr& error, bool taskCancelled);
    void succeed(const GenerationRequest& request, GenerationMode mode, const QString& text);
    void fail(const GenerationRequest& request, GenerationMode mode, const std::exception_ptr& error);
    void endCancelled(const GenerationRequest& request, GenerationMode mode);
    void endGeneration(const QUuid& requestID, bool keepPreview);

    void openSession(const std::optional<SelectionSnapshot>& snapshot, QuickHUDTrigger trigger);
    void finishDelivery(const QString& text, const SelectionSnapshot& snapshot, DeliveryPreference preference,
        const std::optional<QString>& status, const std::exception_ptr& error);
    void finishQuickFixDelivery(const QString& text, const GenerationRequest& request,
        const std::optional<QString>& status, const std::exception_ptr& error);
    void continueQuickFix(const GenerationRequest& request);
    void giveUpKeyboard();
    // The coordinator, or one that does nothing until the shell has handed one over.
    WindowCoordinating& windows() const;
    void showHUDAt(const std::optional<SelectionSnapshot>& snapshot);
    void moveToPhase(QuickHUDPhase phase);
    // Moves where the flow answered; nothing moves on a refusal.
    void moveIfAnswered(std::optional<QuickHUDPhase> phase);
    QuickHUDFlow::Facts hudFacts() const;
    void record(AnalyticsEventType type, AnalyticsDimensions dimensions = {});
    AnalyticsDimensions generationDimensions(const GenerationRequest& request, GenerationMode mode,
        std::optional<QString> outcome, bool includeDuration) const;
    ProviderConfiguration currentConfiguration() const;
    void prepareInBackground(ProviderKind kind);
    static Task<void> preloadQuietly(AIProviding* providers, ProviderConfiguration configuration);
    void cancelTimedSteps();

    AppServices services_;
    HotKeyRegistration hotKeys_;
    ProviderStatus providerStatus_;
    QuickHUDFlow hudFlow_;
    std::optional<brindlet::SelectionSnapshot> snapshot_ {};
    std::optional<brindlet::SelectionSnapshot> observedSnapshot_ {};
    QString workingSourceText_ {};
    QString instruction_ {};
    QString result_ {};
    QString generationPreview_ {};
    std::optional<QUuid> selectedPresetID_ {};
    QString presetSearchQuery_ {};
    QString quickPresetName_ {};
    QString quickPresetInstruction_ {};
    brindlet::ProviderKind provider_ {};
    bool isGenerating_ = false;
    std::optional<QString> statusMessage_ {};
    bool accessibilityGranted_ = false;
    brindlet::SettingsSection settingsSection_ = SettingsSection::general;
    std::optional<brindlet::GeneratedResultContext> resultContext_ {};
    bool isDelivering_ = false;
    brindlet::QuickHUDSourceMode sourceDetailMode_ = QuickHUDSourceMode::read;
    brindlet::QuickHUDPhase quickHUDPhase_ = QuickHUDPhase::bubble;
    brindlet::QuickHUDTrigger quickHUDTrigger_ = QuickHUDTrigger::selectionBubble;
    brindlet::HotKeyMessages hotKeyMessages_ {};
    bool isQuickFixSession_ = false;
    int onboardingStep_ = 0;
    std::optional<brindlet::MarketingPreviewState> marketingPreviewState_ {};

    std::optional<TaskHandle> generationTask_;
    std::optional<TaskHandle> deliveryTask_;
    std::optional<TaskHandle> confirmationTask_;
    std::optional<TaskHandle> quickFixStatusTask_;
    std::optional<QUuid> activeGenerationID_;
    std::optional<GenerationRequest> activeGenerationRequest_;
    std::optional<GenerationMode> activeGenerationMode_;
    std::optional<GenerationRequest> lastGenerationRequest_;
    std::unique_ptr<RepeatingTimer> permissionTimer_;
    std::function<void()> workspaceOpener_;
    std::function<void()> settingsOpener_;
    bool started_ = false;
    QHash<QUuid, Clock::time_point> generationStartedAt_;
};

} // namespace brindlet
