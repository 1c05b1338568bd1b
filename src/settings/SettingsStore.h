#pragma once

#include "DefaultsStoring.h"
#include "domain/Preset.h"
#include "domain/ProviderKind.h"
#include "domain/ProviderTypes.h"
#include "shortcuts/HotKeyShortcut.h"

#include <QList>
#include <QObject>
#include <QString>

#include <optional>

namespace brindlet {

// The user's durable preferences. Every set announces the change and then writes the whole set
// through to the defaults store; loading repairs by defaulting and writes nothing.
class SettingsStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(brindlet::ProviderKind defaultProvider READ defaultProvider WRITE setDefaultProvider NOTIFY
            defaultProviderChanged)
    Q_PROPERTY(QString ollamaURL READ ollamaURL WRITE setOllamaURL NOTIFY ollamaURLChanged)
    Q_PROPERTY(QString ollamaModel READ ollamaModel WRITE setOllamaModel NOTIFY ollamaModelChanged)
    Q_PROPERTY(bool keepRunningAfterDockQuit READ keepRunningAfterDockQuit WRITE setKeepRunningAfterDockQuit NOTIFY
            keepRunningAfterDockQuitChanged)
    Q_PROPERTY(bool showSelectionBubble READ showSelectionBubble WRITE setShowSelectionBubble NOTIFY
            showSelectionBubbleChanged)
    Q_PROPERTY(bool analyticsEnabled READ analyticsEnabled WRITE setAnalyticsEnabled NOTIFY analyticsEnabledChanged)
    Q_PROPERTY(bool hasCompletedOnboarding READ hasCompletedOnboarding WRITE setHasCompletedOnboarding NOTIFY
            hasCompletedOnboardingChanged)

    Q_PROPERTY(
        QList<brindlet::Preset> customPresets READ customPresets WRITE setCustomPresets NOTIFY customPresetsChanged)
    Q_PROPERTY(std::optional<brindlet::HotKeyShortcut> quickCommandShortcut READ quickCommandShortcut WRITE
            setQuickCommandShortcut NOTIFY quickCommandShortcutChanged)
    Q_PROPERTY(std::optional<brindlet::HotKeyShortcut> quickFixShortcut READ quickFixShortcut WRITE setQuickFixShortcut
            NOTIFY quickFixShortcutChanged)
    Q_PROPERTY(std::optional<brindlet::HotKeyShortcut> openWorkspaceShortcut READ openWorkspaceShortcut WRITE
            setOpenWorkspaceShortcut NOTIFY openWorkspaceShortcutChanged)

public:
    static HotKeyShortcut defaultShortcut(GlobalHotKeyAction action);
    static QString defaultOllamaURL() { return QStringLiteral("http://127.0.0.1:11434"); }

    // Loads from the store, which must outlive this object.
    explicit SettingsStore(DefaultsStoring& defaults, QObject* parent = nullptr);

    ProviderKind defaultProvider() const { return defaultProvider_; }
    QString ollamaURL() const { return ollamaURL_; }
    QString ollamaModel() const { return ollamaModel_; }
    // The Ollama address and model, as a request takes them.
    ProviderConfiguration providerConfiguration() const { return { ollamaURL_, ollamaModel_ }; }
    bool keepRunningAfterDockQuit() const { return keepRunningAfterDockQuit_; }
    bool showSelectionBubble() const { return showSelectionBubble_; }
    bool analyticsEnabled() const { return analyticsEnabled_; }
    bool hasCompletedOnboarding() const { return hasCompletedOnboarding_; }
    QList<Preset> customPresets() const { return customPresets_; }
    // Absent means the user cleared the shortcut.
    std::optional<HotKeyShortcut> shortcut(GlobalHotKeyAction action) const;
    std::optional<HotKeyShortcut> quickCommandShortcut() const { return quickCommandShortcut_; }
    std::optional<HotKeyShortcut> quickFixShortcut() const { return quickFixShortcut_; }
    std::optional<HotKeyShortcut> openWorkspaceShortcut() const { return openWorkspaceShortcut_; }

    void setDefaultProvider(ProviderKind value);
    void setOllamaURL(const QString& value);
    void setOllamaModel(const QString& value);
    void setKeepRunningAfterDockQuit(bool value);
    void setShowSelectionBubble(bool value);
    void setAnalyticsEnabled(bool value);
    void setHasCompletedOnboarding(bool value);
    void setCustomPresets(const QList<Preset>& value);
    void setShortcut(GlobalHotKeyAction action, const std::optional<HotKeyShortcut>& value);
    void setQuickCommandShortcut(const std::optional<HotKeyShortcut>& value)
    {
        setShortcut(GlobalHotKeyAction::quickCommand, value);
    }
    void setQuickFixShortcut(const std::optional<HotKeyShortcut>& value)
    {
        setShortcut(GlobalHotKeyAction::quickFix, value);
    }
    void setOpenWorkspaceShortcut(const std::optional<HotKeyShortcut>& value)
    {
        setShortcut(GlobalHotKeyAction::openWorkspace, value);
    }
    void removeCustomPreset(const QUuid& id);
    // Takes in custom presets that another program (brindlet-cli) stored since, so that this
    // store's next save keeps them.
    void reloadCustomPresets();

signals:
    void defaultProviderChanged();
    void ollamaURLChanged();
    void ollamaModelChanged();
    void keepRunningAfterDockQuitChanged();
    void showSelectionBubbleChanged();
    void analyticsEnabledChanged();
    void hasCompletedOnboardingChanged();
    void customPresetsChanged();
    void quickCommandShortcutChanged();
    void quickFixShortcutChanged();
    void openWorkspaceShortcutChanged();

private:
    void save();
    QByteArray encodedCustomPresets() const;
    std::optional<HotKeyShortcut> loadShortcut(GlobalHotKeyAction action) const;
    QList<Preset> loadCustomPresets() const;

    DefaultsStoring& defaults_;
    bool isLoading_ = true;
    ProviderKind defaultProvider_ = ProviderKind::ollama;
    QString ollamaURL_ = defaultOllamaURL();
    QString ollamaModel_;
    bool keepRunningAfterDockQuit_ = true;
    bool showSelectionBubble_ = true;
    bool analyticsEnabled_ = true;
    bool hasCompletedOnboarding_ = false;
    QList<Preset> customPresets_;
    mutable std::optional<std::pair<QList<Preset>, QByteArray>> encodedPresets_;
    std::optional<HotKeyShortcut> quickCommandShortcut_;
    std::optional<HotKeyShortcut> quickFixShortcut_;
    std::optional<HotKeyShortcut> openWorkspaceShortcut_;
};

} // namespace brindlet
