#include "SettingsStore.h"

namespace brindlet {

HotKeyShortcut SettingsStore::defaultShortcut(GlobalHotKeyAction action)
{
    switch (action) {
    case GlobalHotKeyAction::quickCommand: return { 49, { 12 }, QStringLiteral("Space") };
    case GlobalHotKeyAction::openWorkspace: return { 8, { 9 }, QStringLiteral("C") };
    case GlobalHotKeyAction::quickFix: return { 38, { 5 }, QStringLiteral("J") };
    }
    return {};
}

SettingsStore::SettingsStore(QObject* parent)
    : QObject(parent)
    , quickCommandShortcut_(defaultShortcut(GlobalHotKeyAction::quickCommand))
    , quickFixShortcut_(defaultShortcut(GlobalHotKeyAction::quickFix))
    , openWorkspaceShortcut_(defaultShortcut(GlobalHotKeyAction::openWorkspace))
{
}

std::optional<HotKeyShortcut> SettingsStore::shortcut(GlobalHotKeyAction action) const
{
    switch (action) {
    case GlobalHotKeyAction::quickCommand: return quickCommandShortcut_;
    case GlobalHotKeyAction::openWorkspace: return openWorkspaceShortcut_;
    case GlobalHotKeyAction::quickFix: return quickFixShortcut_;
    }
    return std::nullopt;
}

// Every set announces the change, equal value or not, as the surfaces expect.
void SettingsStore::setDefaultProvider(ProviderKind value)
{
    defaultProvider_ = value;
    emit defaultProviderChanged();
}

void SettingsStore::setOllamaURL(const QString& value)
{
    ollamaURL_ = value;
    emit ollamaURLChanged();
}

void SettingsStore::setOllamaModel(const QString& value)
{
    ollamaModel_ = value;
    emit ollamaModelChanged();
}

void SettingsStore::setKeepRunningAfterDockQuit(bool value)
{
    keepRunningAfterDockQuit_ = value;
    emit keepRunningAfterDockQuitChanged();
}

void SettingsStore::setShowSelectionBubble(bool value)
{
    showSelectionBubble_ = value;
    emit showSelectionBubbleChanged();
}

void SettingsStore::setAnalyticsEnabled(bool value)
{
    analyticsEnabled_ = value;
    emit analyticsEnabledChanged();
}

void SettingsStore::setHasCompletedOnboarding(bool value)
{
    hasCompletedOnboarding_ = value;
    emit hasCompletedOnboardingChanged();
}

void SettingsStore::setCustomPresets(const QList<Preset>& value)
{
    customPresets_ = value;
    emit customPresetsChanged();
}

void SettingsStore::setShortcut(GlobalHotKeyAction action, const std::optional<HotKeyShortcut>& value)
{
    switch (action) {
    case GlobalHotKeyAction::quickCommand: quickCommandShortcut_ = value; break;
    case GlobalHotKeyAction::openWorkspace: openWorkspaceShortcut_ = value; break;
    case GlobalHotKeyAction::quickFix: quickFixShortcut_ = value; break;
    }
    emit shortcutChanged(action);
}

void SettingsStore::removeCustomPreset(const QUuid& id)
{
    QList<Preset> kept = customPresets_;
    kept.removeIf([&id](const Preset& preset) { return preset.id == id; });
    setCustomPresets(kept);
}

} // namespace brindlet
