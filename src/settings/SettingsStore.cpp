#include "SettingsStore.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace brindlet {

namespace {

QString keyFor(GlobalHotKeyAction action)
{
    switch (action) {
    case GlobalHotKeyAction::quickCommand: return QStringLiteral("quickCommandShortcut");
    case GlobalHotKeyAction::openWorkspace: return QStringLiteral("openWorkspaceShortcut");
    case GlobalHotKeyAction::quickFix: return QStringLiteral("quickFixShortcut");
    }
    return {};
}

// Shortcuts are saved in this order, which is not the order of the actions.
constexpr GlobalHotKeyAction storedShortcutOrder[]
    = { GlobalHotKeyAction::quickCommand, GlobalHotKeyAction::quickFix, GlobalHotKeyAction::openWorkspace };

// A shortcut wrapped so that a cleared one ({}) can be told from one never written.
QByteArray encodeStoredShortcut(const std::optional<HotKeyShortcut>& shortcut)
{
    return shortcut ? "{\"shortcut\":" + shortcut->toJson() + "}" : QByteArray("{}");
}

// The outer optional is whether the blob decoded; the inner one is the (maybe cleared) shortcut.
std::optional<std::optional<HotKeyShortcut>> decodeStoredShortcut(const QByteArray& blob)
{
    QJsonParseError error {};
    const QJsonDocument document = QJsonDocument::fromJson(blob, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonValue value = document.object().value(QStringLiteral("shortcut"));
    if (value.isUndefined() || value.isNull())
        return std::optional<HotKeyShortcut>();
    if (!value.isObject())
        return std::nullopt;
    auto shortcut = HotKeyShortcut::fromJsonObject(value.toObject());
    if (!shortcut)
        return std::nullopt;
    return std::optional<HotKeyShortcut>(*shortcut);
}

} // namespace

HotKeyShortcut SettingsStore::defaultShortcut(GlobalHotKeyAction action)
{
    switch (action) {
    case GlobalHotKeyAction::quickCommand: return { 49, { 12 }, QStringLiteral("Space") };
    case GlobalHotKeyAction::openWorkspace: return { 8, { 9 }, QStringLiteral("C") };
    case GlobalHotKeyAction::quickFix: return { 38, { 5 }, QStringLiteral("J") };
    }
    return {};
}

SettingsStore::SettingsStore(DefaultsStoring& defaults, QObject* parent)
    : QObject(parent)
    , defaults_(defaults)
{
    // An unknown provider name loads as Ollama; the stored string stays until the next save.
    defaultProvider_ = providerKindFromWireName(
        defaults_.stringForKey(QStringLiteral("defaultProvider")).value_or(QStringLiteral("ollama")))
                           .value_or(ProviderKind::ollama);
    ollamaURL_ = defaults_.stringForKey(QStringLiteral("ollamaURL")).value_or(defaultOllamaURL());
    ollamaModel_ = defaults_.stringForKey(QStringLiteral("ollamaModel")).value_or(QString());

    // The object read, not a Boolean read: an absent key must not read as false.
    auto flag = [this](const char* key, bool fallback) {
        return booleanValue(defaults_.objectForKey(QLatin1String(key))).value_or(fallback);
    };
    keepRunningAfterDockQuit_ = flag("keepRunningAfterDockQuit", true);
    showSelectionBubble_ = flag("showSelectionBubble", true);
    analyticsEnabled_ = flag("analyticsEnabled", true);
    hasCompletedOnboarding_ = flag("hasCompletedOnboarding", false);

    quickCommandShortcut_ = loadShortcut(GlobalHotKeyAction::quickCommand);
    quickFixShortcut_ = loadShortcut(GlobalHotKeyAction::quickFix);
    openWorkspaceShortcut_ = loadShortcut(GlobalHotKeyAction::openWorkspace);

    customPresets_ = loadCustomPresets();
    isLoading_ = false;
}

QList<Preset> SettingsStore::loadCustomPresets() const
{
    // One bad record loses the whole list; the next save writes the empty array over it.
    const auto blob = defaults_.dataForKey(QStringLiteral("customPresets"));
    return blob ? decodePresets(*blob).value_or(QList<Preset>()) : QList<Preset>();
}

void SettingsStore::reloadCustomPresets()
{
    if (!defaults_.refresh())
        return;
    QList<Preset> stored = loadCustomPresets();
    if (stored == customPresets_)
        return;
    customPresets_ = std::move(stored);
    emit customPresetsChanged();
}

std::optional<HotKeyShortcut> SettingsStore::loadShortcut(GlobalHotKeyAction action) const
{
    const auto blob = defaults_.dataForKey(keyFor(action));
    if (!blob)
        return defaultShortcut(action);
    return decodeStoredShortcut(*blob).value_or(std::optional(defaultShortcut(action)));
}

QByteArray SettingsStore::encodedCustomPresets() const
{
    // Every save writes the whole set; the presets are encoded again only once they changed.
    if (!encodedPresets_ || encodedPresets_->first != customPresets_)
        encodedPresets_.emplace(customPresets_, encodePresets(customPresets_));
    return encodedPresets_->second;
}

void SettingsStore::save()
{
    if (isLoading_)
        return;
    QList<DefaultsChange> changes {
        { QStringLiteral("defaultProvider"), DefaultsValue(wireName(defaultProvider_)) },
        { QStringLiteral("ollamaURL"), DefaultsValue(ollamaURL_) },
        { QStringLiteral("ollamaModel"), DefaultsValue(ollamaModel_) },
        { QStringLiteral("keepRunningAfterDockQuit"), DefaultsValue(keepRunningAfterDockQuit_) },
        { QStringLiteral("showSelectionBubble"), DefaultsValue(showSelectionBubble_) },
        { QStringLiteral("analyticsEnabled"), DefaultsValue(analyticsEnabled_) },
        { QStringLiteral("hasCompletedOnboarding"), DefaultsValue(hasCompletedOnboarding_) },
        { QStringLiteral("customPresets"), DefaultsValue(encodedCustomPresets()) },
    };
    for (GlobalHotKeyAction action : storedShortcutOrder)
        changes.append({ keyFor(action), DefaultsValue(encodeStoredShortcut(shortcut(action))) });
    defaults_.apply(changes);
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

// Every set stores, announces (equal value or not, as the surfaces expect), then saves.
void SettingsStore::setDefaultProvider(ProviderKind value)
{
    defaultProvider_ = value;
    emit defaultProviderChanged();
    save();
}

void SettingsStore::setOllamaURL(const QString& value)
{
    ollamaURL_ = value;
    emit ollamaURLChanged();
    save();
}

void SettingsStore::setOllamaModel(const QString& value)
{
    ollamaModel_ = value;
    emit ollamaModelChanged();
    save();
}

void SettingsStore::setKeepRunningAfterDockQuit(bool value)
{
    keepRunningAfterDockQuit_ = value;
    emit keepRunningAfterDockQuitChanged();
    save();
}

void SettingsStore::setShowSelectionBubble(bool value)
{
    showSelectionBubble_ = value;
    emit showSelectionBubbleChanged();
    save();
}

void SettingsStore::setAnalyticsEnabled(bool value)
{
    analyticsEnabled_ = value;
    emit analyticsEnabledChanged();
    save();
}

void SettingsStore::setHasCompletedOnboarding(bool value)
{
    hasCompletedOnboarding_ = value;
    emit hasCompletedOnboardingChanged();
    save();
}

void SettingsStore::setCustomPresets(const QList<Preset>& value)
{
    customPresets_ = value;
    emit customPresetsChanged();
    save();
}

void SettingsStore::setShortcut(GlobalHotKeyAction action, const std::optional<HotKeyShortcut>& value)
{
    switch (action) {
    case GlobalHotKeyAction::quickCommand:
        quickCommandShortcut_ = value;
        emit quickCommandShortcutChanged();
        break;
    case GlobalHotKeyAction::openWorkspace:
        openWorkspaceShortcut_ = value;
        emit openWorkspaceShortcutChanged();
        break;
    case GlobalHotKeyAction::quickFix:
        quickFixShortcut_ = value;
        emit quickFixShortcutChanged();
        break;
    }
    save();
}

void SettingsStore::removeCustomPreset(const QUuid& id)
{
    QList<Preset> kept = customPresets_;
    kept.removeIf([&id](const Preset& preset) { return preset.id == id; });
    setCustomPresets(kept);
}

} // namespace brindlet
