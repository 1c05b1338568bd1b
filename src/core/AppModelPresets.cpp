// Presets: what is on offer, choosing one, and making one from the HUD or the workspace.

#include "AppModel.h"

#include "PresetLists.h"
#include "analytics/AnalyticsTracking.h"
#include "settings/SettingsStore.h"

namespace brindlet {

namespace {
bool hasText(const std::optional<SelectionSnapshot>& snapshot)
{
    return snapshot && snapshot->hasText();
}
} // namespace

QList<Preset> AppModel::primaryPresets() const
{
    return brindlet::primaryPresets(allPresets(), hasText(snapshot_));
}

QList<Preset> AppModel::availablePresets() const
{
    return brindlet::availablePresets(allPresets(), hasText(snapshot_));
}

QList<Preset> AppModel::visiblePresets() const
{
    return brindlet::visiblePresets(allPresets(), hasText(snapshot_), presetSearchQuery_);
}

bool AppModel::isPresetApplicable(const Preset& preset) const
{
    return brindlet::isPresetApplicable(preset, hasText(snapshot_));
}

void AppModel::choosePreset(const Preset& preset)
{
    setSelectedPresetID(preset.id);
    setStatusMessage(std::nullopt);
    if (preset.id == Preset::translateID && instruction_.trimmed().isEmpty())
        return setStatusMessage(QStringLiteral("Enter the target language, then generate."));
    if (preset.input != PresetInput::selectionRequired)
        return; // selected, waiting for a direction and a press of generate
    if (!hasText(snapshot_))
        return setStatusMessage(QStringLiteral("Select text in another app, then choose this action."));
    if (workingSourceText_.trimmed().isEmpty())
        return setStatusMessage(QStringLiteral("Add source text or revert to the captured selection."));
    if (!instruction_.trimmed().isEmpty())
        return; // the user typed a direction: generating is theirs to start
    generate(preset);
}

void AppModel::chooseHUDPreset(const Preset& preset)
{
    choosePreset(preset);
    setPresetSearchQuery(QString());
    if (!isGenerating_ && quickHUDPhase_ != QuickHUDPhase::bubble)
        moveToPhase(QuickHUDPhase::compose);
}

std::optional<Preset> AppModel::createPreset(
    const QString& name, const QString& instruction, PresetInput input, DeliveryPreference delivery)
{
    const QString trimmedName = name.trimmed();
    const QString trimmedInstruction = instruction.trimmed();
    if (trimmedName.isEmpty()) {
        setStatusMessage(QStringLiteral("Give the preset a short name."));
        return std::nullopt;
    }
    if (trimmedInstruction.isEmpty()) {
        setStatusMessage(QStringLiteral("Describe what this preset should do."));
        return std::nullopt;
    }
    const Preset preset { QUuid::createUuid(), trimmedName, QStringLiteral("wand.and.stars"), trimmedInstruction, input,
        delivery, false };
    services_.settings->setCustomPresets(services_.settings->customPresets() << preset);
    setSelectedPresetID(preset.id);
    setPresetSearchQuery(QString());
    setStatusMessage(QStringLiteral("Preset saved."));
    AnalyticsDimensions words;
    words.surface = quickHUDPhase_ != QuickHUDPhase::bubble ? QStringLiteral("quick_hud") : QStringLiteral("workspace");
    record(AnalyticsEventType::presetCreated, words);
    return preset;
}

void AppModel::openQuickPresetEditor()
{
    if (isGenerating_)
        return;
    setQuickPresetName(QString());
    setQuickPresetInstruction(QString());
    setStatusMessage(std::nullopt);
    moveToPhase(QuickHUDPhase::presetEditor);
}

void AppModel::cancelQuickPresetEditor()
{
    if (quickHUDPhase_ != QuickHUDPhase::presetEditor)
        return;
    setQuickPresetName(QString());
    setQuickPresetInstruction(QString());
    setStatusMessage(std::nullopt);
    moveToPhase(QuickHUDPhase::moreActions);
}

void AppModel::saveQuickPreset()
{
    const PresetInput input = hasText(snapshot_) ? PresetInput::selectionRequired : PresetInput::selectionOptional;
    if (!createPreset(quickPresetName_, quickPresetInstruction_, input, DeliveryPreference::smart))
        return; // the message says why; what was typed stays
    setQuickPresetName(QString());
    setQuickPresetInstruction(QString());
    moveToPhase(QuickHUDPhase::moreActions);
}

void AppModel::openPresetSettings()
{
    setSettingsSection(SettingsSection::presets);
    if (quickHUDPhase_ != QuickHUDPhase::bubble)
        dismissQuickHUD();
    openSettingsWindow();
}

void AppModel::openSettingsWindow()
{
    if (settingsOpener_)
        settingsOpener_();
}

} // namespace brindlet
