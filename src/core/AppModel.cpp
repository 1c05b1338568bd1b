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

#include "domain/OllamaReadiness.h"

#include "AnalyticsWords.h"
#include "CommandRules.h"
#include "domain/DescribedError.h"
#include "domain/Prompt.h"

#include <chrono>

namespace brindlet {

namespace {
const QString enableAccessibilityMessage = QStringLiteral(
    "Enable Brindlet in Accessibility. If it is already on, turn it off and on once to replace the older app "
    "authorization.");

bool isCancellation(const std::exception_ptr& error)
{
    try {
        std::rethrow_exception(error);
    } catch (const CancellationError&) {
        return true;
    } catch (...) {
        return false;
    }
}
} // namespace

AppModel::AppModel(AppServices services, QObject* parent)
    : QObject(parent)
    , services_(services)
    , hotKeys_(*services.settings, *services.hotKey)
    , providerStatus_(*services.providerService, *services.settings)
{
    Q_ASSERT(services_.settings && services_.accessibility && services_.selectionService && services_.providerService
        && services_.hotKey && services_.analytics && services_.pasteboard && services_.workspace);
    hotKeys_.onMessagesChanged = [this](const HotKeyMessages& messages) { setHotKeyMessages(messages); };
    provider_ = services_.settings->defaultProvider();
    connect(&providerStatus_, &ProviderStatus::readinessChanged, this, &AppModel::providerReadinessChanged);
    connect(&providerStatus_, &ProviderStatus::isRefreshingOllamaModelsChanged, this,
        &AppModel::isRefreshingOllamaModelsChanged);
}

AppModel::~AppModel()
{
    for (auto* task : { &generationTask_, &deliveryTask_, &confirmationTask_, &quickFixStatusTask_ }) {
        if (*task)
            (*task)->cancel();
    }
}

// ---- observable fields ----

void AppModel::setObservedSnapshot(const std::optional<brindlet::SelectionSnapshot>& value)
{
    observedSnapshot_ = value;
    emit observedSnapshotChanged();
}

void AppModel::setWorkingSourceText(const QString& value)
{
    workingSourceText_ = value;
    emit workingSourceTextChanged();
}

void AppModel::setInstruction(const QString& value)
{
    instruction_ = value;
    emit instructionChanged();
}

void AppModel::setResult(const QString& value)
{
    result_ = value;
    emit resultChanged();
}

void AppModel::setGenerationPreview(const QString& value)
{
    generationPreview_ = value;
    emit generationPreviewChanged();
}

void AppModel::setSelectedPresetID(const std::optional<QUuid>& value)
{
    selectedPresetID_ = value;
    emit selectedPresetIDChanged();
}

void AppModel::setPresetSearchQuery(const QString& value)
{
    presetSearchQuery_ = value;
    emit presetSearchQueryChanged();
}

void AppModel::setQuickPresetName(const QString& value)
{
    quickPresetName_ = value;
    emit quickPresetNameChanged();
}

void AppModel::setQuickPresetInstruction(const QString& value)
{
    quickPresetInstruction_ = value;
    emit quickPresetInstructionChanged();
}

void AppModel::setIsGenerating(bool value)
{
    isGenerating_ = value;
    emit isGeneratingChanged();
}

void AppModel::setStatusMessage(const std::optional<QString>& value)
{
    statusMessage_ = value;
    emit statusMessageChanged();
}

void AppModel::setAccessibilityGranted(bool value)
{
    accessibilityGranted_ = value;
    emit accessibilityGrantedChanged();
}

void AppModel::setSettingsSection(brindlet::SettingsSection value)
{
    settingsSection_ = value;
    emit settingsSectionChanged();
}

void AppModel::setResultContext(const std::optional<brindlet::GeneratedResultContext>& value)
{
    resultContext_ = value;
    emit resultContextChanged();
}

void AppModel::setIsDelivering(bool value)
{
    isDelivering_ = value;
    emit isDeliveringChanged();
}

void AppModel::setSourceDetailMode(brindlet::QuickHUDSourceMode value)
{
    sourceDetailMode_ = value;
    emit sourceDetailModeChanged();
}

void AppModel::setQuickHUDPhase(brindlet::QuickHUDPhase value)
{
    quickHUDPhase_ = value;
    emit quickHUDPhaseChanged();
}

void AppModel::setQuickHUDTrigger(brindlet::QuickHUDTrigger value)
{
    quickHUDTrigger_ = value;
    emit quickHUDTriggerChanged();
}

void AppModel::setHotKeyMessages(const brindlet::HotKeyMessages& value)
{
    hotKeyMessages_ = value;
    emit hotKeyMessagesChanged();
}

void AppModel::setIsQuickFixSession(bool value)
{
    isQuickFixSession_ = value;
    emit isQuickFixSessionChanged();
}

void AppModel::setOnboardingStep(int value)
{
    onboardingStep_ = value;
    emit onboardingStepChanged();
}

void AppModel::setMarketingPreviewState(const std::optional<brindlet::MarketingPreviewState>& value)
{
    marketingPreviewState_ = value;
    emit marketingPreviewStateChanged();
}
void AppModel::setSnapshot(const std::optional<SelectionSnapshot>& value)
{
    const bool sameIdentity = (!snapshot_ && !value) || (snapshot_ && value && snapshot_->id == value->id);
    snapshot_ = value;
    emit snapshotChanged();
    if (!sameIdentity)
        setWorkingSourceText(value && value->text ? *value->text : QString());
}

void AppModel::setProvider(ProviderKind value)
{
    const ProviderKind old = provider_;
    provider_ = value;
    emit providerChanged();
    if (services_.settings->defaultProvider() != value)
        services_.settings->setDefaultProvider(value);
    if (value == old)
        return;
    setStatusMessage(std::nullopt);
    prepareInBackground(value);
}

// ---- derived values ----

QList<Preset> AppModel::allPresets() const
{
    return Preset::builtIns() + services_.settings->customPresets();
}

std::optional<Preset> AppModel::selectedPreset() const
{
    if (!selectedPresetID_)
        return std::nullopt;
    for (const Preset& preset : allPresets()) {
        if (preset.id == *selectedPresetID_)
            return preset;
    }
    return std::nullopt;
}

bool AppModel::hasResult() const
{
    return !result_.isEmpty() && resultContext_.has_value();
}

bool AppModel::isSourceEdited() const
{
    const QString captured = snapshot_ && snapshot_->text ? *snapshot_->text : QString();
    return workingSourceText_ != captured;
}

bool AppModel::isProviderReady() const
{
    return providerStatus_.isReady(provider_);
}

QStringList AppModel::ollamaModels() const
{
    return providerStatus_.ollamaModels();
}

QString AppModel::providerLabel() const
{
    const QString model = services_.settings->ollamaModel();
    if (provider_ == ProviderKind::ollama && !model.isEmpty())
        return QStringLiteral("Ollama · ") + model;
    return displayName(provider_);
}

QString AppModel::deliveryLabel() const
{
    if (!resultContext_)
        return QStringLiteral("Copy");
    switch (resultContext_->delivery) {
    case DeliveryPreference::insert: return QStringLiteral("Insert");
    case DeliveryPreference::replace: return QStringLiteral("Replace");
    default: return QStringLiteral("Copy");
    }
}

// ---- start-up and permission ----

void AppModel::start()
{
    if (started_)
        return;
    started_ = true;
    if (marketingPreviewState_) {
        setAccessibilityGranted(true);
        return;
    }
    setAccessibilityGranted(services_.accessibility->isProcessTrusted());
    spawn(services_.analytics->start(services_.settings->analyticsEnabled()));

    QPointer<AppModel> weak(this);
    services_.selectionService->setOnSelectionChanged([weak](std::optional<SelectionSnapshot> snapshot) {
        if (weak)
            weak->handleObservedSelection(snapshot);
    });
    services_.selectionService->startMonitoring();

    if (!permissionTimer_) {
        permissionTimer_
            = std::make_unique<RepeatingTimer>(std::chrono::milliseconds(400), std::chrono::milliseconds(80), [weak] {
                  if (weak)
                      weak->refreshAccessibilityPermission();
              });
    }

    for (ProviderKind kind : allProviderKinds)
        prepareInBackground(kind);

    if (!services_.settings->hasCompletedOnboarding())
        refreshProviderReadiness();

    services_.hotKey->setOnPressed([weak](GlobalHotKeyAction action) {
        if (!weak)
            return;
        switch (action) {
        case GlobalHotKeyAction::quickCommand: weak->presentQuickHUD(QuickHUDTrigger::globalHotKey); break;
        case GlobalHotKeyAction::openWorkspace: weak->openWorkspace(); break;
        case GlobalHotKeyAction::quickFix: weak->startQuickFix(); break;
        }
    });
    reregisterHotKeys();
}

void AppModel::refreshAccessibilityPermission()
{
    const bool trusted = services_.accessibility->isProcessTrusted();
    if (trusted == accessibilityGranted_)
        return;
    setAccessibilityGranted(trusted);
    if (!trusted)
        return;
    // A new grant wipes any message about the permission, and no other.
    if (statusMessage_ && statusMessage_->contains(QStringLiteral("accessibility"), Qt::CaseInsensitive))
        setStatusMessage(std::nullopt);
}

void AppModel::requestAccessibilityPermission()
{
    services_.selectionService->requestAccessibilityAccess();
    refreshAccessibilityPermission();
    if (!accessibilityGranted_)
        setStatusMessage(enableAccessibilityMessage);
}

// ---- starting a command ----

void AppModel::generate(const std::optional<Preset>& presetArgument)
{
    if (isGenerating_)
        return;
    const std::optional<Preset> preset = presetArgument ? presetArgument : selectedPreset();
    const QString direction = instruction_.trimmed();
    const CommandSource source { snapshot_ ? snapshot_->text : std::nullopt, workingSourceText_ };
    if (auto refusal = commandRefusal(preset, direction, source))
        return setStatusMessage(*refusal);
    beginGeneration(GenerationRequest::make(direction, preset, commandSelectedText(preset, source), provider_,
                        currentConfiguration(), snapshot_,
                        resolvedDelivery(preset ? preset->delivery : DeliveryPreference::smart, snapshot_)),
        GenerationMode::command);
}

void AppModel::beginGeneration(const GenerationRequest& request, GenerationMode mode)
{
    if (generationTask_)
        generationTask_->cancel();
    activeGenerationID_ = request.id;
    activeGenerationRequest_ = request;
    activeGenerationMode_ = mode;
    generationStartedAt_.insert(request.id, timerSource().now());
    record(AnalyticsEventType::generationStarted, generationDimensions(request, mode, std::nullopt, false));

    setStatusMessage(std::nullopt);
    setGenerationPreview(QString());
    setIsGenerating(true);
    if (isQuickHUDOpen())
        moveToPhase(mode == GenerationMode::quickFix ? QuickHUDPhase::quickFixGenerating : QuickHUDPhase::generating);

    generationTask_ = spawn(runGeneration(QPointer<AppModel>(this), services_.providerService, request, mode));
}

Task<void> AppModel::runGeneration(
    QPointer<AppModel> model, AIProviding* providers, GenerationRequest request, GenerationMode mode)
{
    if (!model)
        co_return;
    PartialTextHandler onPartialText
        = [model, id = request.id](QString text) { return applyPreview(model, id, std::move(text)); };
    std::optional<QString> text;
    std::exception_ptr error;
    try {
        text = co_await providers->generate(request.prompt, request.provider, request.configuration, onPartialText);
    } catch (...) {
        error = std::current_exception();
    }
    const bool cancelled = co_await isTaskCancelled();
    if (model)
        model->finishGeneration(request, mode, text, error, cancelled);
}

Task<void> AppModel::applyPreview(QPointer<AppModel> model, QUuid requestID, QString text)
{
    const bool cancelled = co_await isTaskCancelled();
    if (cancelled || !model)
        co_return;
    if (model->activeGenerationID_ == requestID)
        model->setGenerationPreview(text);
}

// ---- the end of a generation ----

void AppModel::finishGeneration(const GenerationRequest& request, GenerationMode mode,
    const std::optional<QString>& text, const std::exception_ptr& error, bool taskCancelled)
{
    const bool active = activeGenerationID_ == request.id;
    if (text) {
        if (!taskCancelled && active)
            succeed(request, mode, *text);
    } else if (isCancellation(error)) {
        // A cancel that cleared the identity first has already tidied up.
        if (active)
            endCancelled(request, mode);
    } else if (!taskCancelled && active) {
        fail(request, mode, error);
    }
}

// Every end of a generation: the request is forgotten, its task dropped, the preview cleared
// unless asked to stay, and only then does the model read as idle.
void AppModel::endGeneration(const QUuid& requestID, bool keepPreview)
{
    generationStartedAt_.remove(requestID);
    activeGenerationID_.reset();
    activeGenerationRequest_.reset();
    activeGenerationMode_.reset();
    generationTask_.reset();
    if (!keepPreview)
        setGenerationPreview(QString());
    setIsGenerating(false);
}

void AppModel::succeed(const GenerationRequest& request, GenerationMode mode, const QString& text)
{
    setResult(text);
    setResultContext(GeneratedResultContext { request.snapshot, request.delivery,
        request.snapshot ? std::optional(request.snapshot->appName) : std::nullopt });
    lastGenerationRequest_ = request;
    record(
        AnalyticsEventType::generationCompleted, generationDimensions(request, mode, QStringLiteral("success"), true));
    if (instruction_.trimmed() == request.instruction)
        setInstruction(QString());
    // The result is in place before the model reads as idle.
    endGeneration(request.id, false);
    if (mode == GenerationMode::quickFix)
        continueQuickFix(request);
    else
        moveIfAnswered(hudFlow_.afterGeneration(hudFacts(), QuickHUDFlow::GenerationEnd::succeeded));
}

void AppModel::fail(const GenerationRequest& request, GenerationMode mode, const std::exception_ptr& error)
{
    const QString message = describe(error);
    setStatusMessage(message);
    record(AnalyticsEventType::generationFailed, generationDimensions(request, mode, errorClass(error), true));
    endGeneration(request.id, false);
    if (mode == GenerationMode::quickFix) {
        // The user lands in the ordinary composer with the selection still attached.
        setIsQuickFixSession(false);
        setStatusMessage(message);
        moveToPhase(QuickHUDPhase::compose);
    } else {
        moveIfAnswered(hudFlow_.afterGeneration(hudFacts(), QuickHUDFlow::GenerationEnd::failed));
    }
}

void AppModel::endCancelled(const GenerationRequest& request, GenerationMode mode)
{
    record(AnalyticsEventType::generationCancelled,
        generationDimensions(request, mode, QStringLiteral("cancelled"), true));
    endGeneration(request.id, true); // unlike every other end, the preview stays
    moveIfAnswered(hudFlow_.afterGeneration(hudFacts(), QuickHUDFlow::GenerationEnd::cancelled));
}

// ---- cancelling, regenerating, resetting ----

void AppModel::cancelGeneration(bool reportCancelled)
{
    const bool wasGenerating = isGenerating_;
    if (wasGenerating && activeGenerationRequest_ && activeGenerationMode_) {
        record(AnalyticsEventType::generationCancelled,
            generationDimensions(*activeGenerationRequest_, *activeGenerationMode_, QStringLiteral("cancelled"), true));
    }
    if (generationTask_)
        generationTask_->cancel();
    endGeneration(activeGenerationRequest_ ? activeGenerationRequest_->id : QUuid(), false);
    if (reportCancelled && wasGenerating)
        setStatusMessage(QStringLiteral("Generation cancelled."));
}

void AppModel::userCancelGeneration()
{
    const bool wasQuickFix = isQuickFixSession_;
    cancelGeneration(true);
    if (wasQuickFix)
        dismissQuickHUD();
    else
        moveIfAnswered(hudFlow_.afterGeneration(hudFacts(), QuickHUDFlow::GenerationEnd::cancelled));
}

void AppModel::stopDelivery()
{
    if (deliveryTask_)
        deliveryTask_->cancel();
    deliveryTask_.reset();
    setIsDelivering(false);
}

void AppModel::regenerate()
{
    if (isGenerating_ || !lastGenerationRequest_)
        return;
    // A regeneration repeats the old request as it was, whatever changed since.
    GenerationRequest request = *lastGenerationRequest_;
    request.id = QUuid::createUuid();
    request.prompt += regenerationSuffix();
    beginGeneration(request, GenerationMode::command);
}

void AppModel::resetSession(const std::optional<SelectionSnapshot>& snapshot)
{
    stopDelivery();
    setSnapshot(snapshot);
    setWorkingSourceText(snapshot && snapshot->text ? *snapshot->text : QString());
    setInstruction(QString());
    setResult(QString());
    setGenerationPreview(QString());
    setSelectedPresetID(std::nullopt);
    setPresetSearchQuery(QString());
    setQuickPresetName(QString());
    setQuickPresetInstruction(QString());
    setResultContext(std::nullopt);
    lastGenerationRequest_.reset();
    setSourceDetailMode(QuickHUDSourceMode::read);
    hudFlow_.reset();
    setIsQuickFixSession(false);
}

void AppModel::clearSession()
{
    cancelGeneration(false);
    stopDelivery();
    resetSession(std::nullopt);
    setStatusMessage(std::nullopt);
}

// ---- providers ----

ProviderConfiguration AppModel::currentConfiguration() const
{
    return services_.settings->providerConfiguration();
}

void AppModel::prepareInBackground(ProviderKind kind)
{
    spawn(services_.providerService->prepare(kind, currentConfiguration()));
}

void AppModel::refreshProviderReadiness()
{
    if (!marketingPreviewState_)
        return providerStatus_.refreshAll();
    ProviderReadinessMap fixed;
    for (ProviderKind kind : allProviderKinds)
        fixed[kind] = { ProviderReadiness::State::ready, QStringLiteral("Installed and signed in"), {} };
    fixed[ProviderKind::ollama]
        = { ProviderReadiness::State::ready, QStringLiteral("Ready · llama3.2"), { QStringLiteral("llama3.2") } };
    providerStatus_.showFixed(fixed);
}

void AppModel::refreshOllamaModels()
{
    providerStatus_.refreshOllamaModels();
}

void AppModel::selectProvider(ProviderKind kind)
{
    setProvider(kind);
    setStatusMessage(std::nullopt);
    // In an open HUD, Ollama asks for a model next and the others are ready to compose. Chosen
    // from a window, the closed HUD stays closed: a phase of its own would count it as open.
    if (isQuickHUDOpen())
        moveToPhase(kind == ProviderKind::ollama ? QuickHUDPhase::providerPicker : QuickHUDPhase::compose);
    if (kind == ProviderKind::ollama && ollamaModels().isEmpty())
        refreshOllamaModels();
}

void AppModel::selectOllamaModel(const QString& name, bool selectProvider, bool closePicker)
{
    const QString model = name.trimmed();
    if (model.isEmpty())
        return;
    // A provider change to Ollama warms the model itself; a second preload would load it twice.
    const bool preload = !(selectProvider && provider_ != ProviderKind::ollama);
    services_.settings->setOllamaModel(model);
    if (selectProvider)
        setProvider(ProviderKind::ollama);
    setStatusMessage(std::nullopt);
    if (preload)
        spawn(preloadQuietly(services_.providerService, currentConfiguration()));
    if (closePicker && quickHUDPhase_ == QuickHUDPhase::providerPicker)
        moveToPhase(QuickHUDPhase::compose);
}

Task<void> AppModel::preloadQuietly(AIProviding* providers, ProviderConfiguration configuration)
{
    try {
        co_await providers->preloadOllamaModel(std::move(configuration));
    } catch (...) {
        // Warming up is best effort: the next request reports whatever is wrong.
    }
}

void AppModel::setAnalyticsEnabled(bool value)
{
    services_.settings->setAnalyticsEnabled(value);
    spawn(services_.analytics->setEnabled(value));
}

void AppModel::finishOnboarding()
{
    if (!isProviderReady())
        return setStatusMessage(QStringLiteral("Choose a provider that is ready before finishing setup."));
    services_.settings->setHasCompletedOnboarding(true);
    AnalyticsDimensions dimensions;
    dimensions.surface = QStringLiteral("onboarding");
    record(AnalyticsEventType::onboardingCompleted, dimensions);
    setOnboardingStep(0);
    setStatusMessage(std::nullopt);
    prepareInBackground(provider_);
}

void AppModel::restartOnboarding()
{
    services_.settings->setHasCompletedOnboarding(false);
    setOnboardingStep(0);
    setStatusMessage(std::nullopt);
    refreshProviderReadiness();
    openWorkspace();
}

// ---- shortcuts ----

void AppModel::reregisterHotKeys()
{
    hotKeys_.reregister();
}

void AppModel::setShortcut(const std::optional<HotKeyShortcut>& shortcut, GlobalHotKeyAction action)
{
    hotKeys_.setShortcut(shortcut, action);
}

void AppModel::setRecordingHotKey(bool recording)
{
    hotKeys_.setRecording(recording);
}

// ---- analytics ----

void AppModel::record(AnalyticsEventType type, AnalyticsDimensions dimensions)
{
    // Fire and forget: no flow waits for analytics.
    spawn(services_.analytics->record(type, std::move(dimensions)));
}

AnalyticsDimensions AppModel::generationDimensions(
    const GenerationRequest& request, GenerationMode mode, std::optional<QString> outcome, bool includeDuration) const
{
    std::optional<double> seconds;
    if (includeDuration) {
        const auto started = generationStartedAt_.value(request.id, timerSource().now());
        seconds = std::chrono::duration<double>(timerSource().now() - started).count();
    }
    const bool inHUD = isQuickHUDOpen();
    return generationWords(
        request, mode, inHUD ? std::optional(quickHUDTrigger_) : std::nullopt, std::move(outcome), seconds);
}

} // namespace brindlet
