#include "PreferencesView.h"

#include "Autostart.h"
#include "core/AppModel.h"
#include "platform/linux/X11HotKeys.h"
#include "providers/CLIExecutableResolver.h"
#include "providers/SignInCommand.h"
#include "settings/SettingsStore.h"
#include "tasks/OffMainThread.h"
#include "tasks/Runtime.h"

#include <QApplication>
#include <QProcess>

namespace brindlet {

namespace {

const char* const shortcutSubtitles[] = {
    "Capture the current selection or writing cursor and show the quick HUD.",
    "Bring the full Brindlet workspace to the front.",
    "Fix the selected text and safely replace it in the source app.",
};

std::optional<GlobalHotKeyAction> actionAt(int index)
{
    if (index < 0 || index >= int(allGlobalHotKeyActions.size()))
        return std::nullopt;
    return allGlobalHotKeyActions[std::size_t(index)];
}

} // namespace

PreferencesView::PreferencesView(AppModel& model, SettingsStore& settings, QObject* parent)
    : QObject(parent)
    , model_(model)
    , settings_(settings)
{
    for (const char* signal : { SIGNAL(accessibilityGrantedChanged()), SIGNAL(hotKeyMessagesChanged()),
             SIGNAL(providerChanged()), SIGNAL(providerReadinessChanged()), SIGNAL(isRefreshingOllamaModelsChanged()),
             SIGNAL(onboardingStepChanged()), SIGNAL(statusMessageChanged()), SIGNAL(settingsSectionChanged()) })
        connect(&model_, signal, this, SIGNAL(changed()));
    for (const char* signal : { SIGNAL(keepRunningAfterDockQuitChanged()), SIGNAL(showSelectionBubbleChanged()),
             SIGNAL(analyticsEnabledChanged()), SIGNAL(ollamaURLChanged()), SIGNAL(ollamaModelChanged()),
             SIGNAL(hasCompletedOnboardingChanged()), SIGNAL(quickCommandShortcutChanged()),
             SIGNAL(quickFixShortcutChanged()), SIGNAL(openWorkspaceShortcutChanged()) })
        connect(&settings_, signal, this, SIGNAL(changed()));
}

bool PreferencesView::keepRunning() const
{
    return settings_.keepRunningAfterDockQuit();
}

void PreferencesView::setKeepRunning(bool value)
{
    settings_.setKeepRunningAfterDockQuit(value);
}

bool PreferencesView::showBubble() const
{
    return settings_.showSelectionBubble();
}

void PreferencesView::setShowBubble(bool value)
{
    settings_.setShowSelectionBubble(value);
}

bool PreferencesView::analytics() const
{
    return settings_.analyticsEnabled();
}

void PreferencesView::setAnalytics(bool value)
{
    model_.setAnalyticsEnabled(value);
}

bool PreferencesView::startAtLogin() const
{
    return Autostart::isEnabled();
}

void PreferencesView::setStartAtLogin(bool value)
{
    QString error;
    startAtLoginError_ = Autostart::setEnabled(value, &error)
        ? QString()
        : QStringLiteral("Brindlet could not change %1: %2").arg(Autostart::entryPath(), error);
    emit changed();
}

bool PreferencesView::accessibilityGranted() const
{
    return model_.accessibilityGranted();
}

QVariantList PreferencesView::shortcuts() const
{
    QVariantList rows;
    for (std::size_t i = 0; i < allGlobalHotKeyActions.size(); ++i) {
        const GlobalHotKeyAction action = allGlobalHotKeyActions[i];
        const auto shortcut = settings_.shortcut(action);
        const auto message = model_.hotKeyMessages().find(action);
        rows.append(QVariantMap { { QStringLiteral("title"), displayName(action) },
            { QStringLiteral("subtitle"), QString::fromUtf8(shortcutSubtitles[i]) },
            { QStringLiteral("display"),
                int(i) == recording_ ? QStringLiteral("Type shortcut…")
                    : shortcut       ? shortcut->displayText()
                                     : QStringLiteral("Not set") },
            { QStringLiteral("cleared"), !shortcut.has_value() },
            { QStringLiteral("isDefault"), shortcut == SettingsStore::defaultShortcut(action) },
            { QStringLiteral("message"), message == model_.hotKeyMessages().end() ? QString() : message->second } });
    }
    return rows;
}

QVariantList PreferencesView::providers() const
{
    QVariantList rows;
    for (const ProviderKind kind : allProviderKinds) {
        const auto readiness = model_.providerReadiness().find(kind);
        const bool known = readiness != model_.providerReadiness().end();
        rows.append(
            QVariantMap { { QStringLiteral("name"), displayName(kind) }, { QStringLiteral("subtitle"), subtitle(kind) },
                { QStringLiteral("ready"), known && readiness->second.state == ProviderReadiness::State::ready },
                { QStringLiteral("detail"), known ? readiness->second.detail : QStringLiteral("Checking…") },
                { QStringLiteral("current"), kind == model_.provider() } });
    }
    return rows;
}

int PreferencesView::provider() const
{
    return int(
        std::find(allProviderKinds.begin(), allProviderKinds.end(), model_.provider()) - allProviderKinds.begin());
}

void PreferencesView::setProvider(int index)
{
    if (index >= 0 && index < int(allProviderKinds.size()))
        model_.selectProvider(allProviderKinds[std::size_t(index)]);
}

bool PreferencesView::isOllama() const
{
    return model_.provider() == ProviderKind::ollama;
}

QString PreferencesView::ollamaURL() const
{
    return settings_.ollamaURL();
}

void PreferencesView::setOllamaURL(const QString& value)
{
    settings_.setOllamaURL(value);
}

QString PreferencesView::ollamaModel() const
{
    return settings_.ollamaModel();
}

void PreferencesView::setOllamaModel(const QString& value)
{
    model_.selectOllamaModel(value, false, false);
}

QStringList PreferencesView::ollamaModels() const
{
    return model_.ollamaModels();
}

QString PreferencesView::ollamaDetail() const
{
    const auto readiness = model_.providerReadiness().find(ProviderKind::ollama);
    return readiness == model_.providerReadiness().end() ? QStringLiteral("Choose an installed model.")
                                                         : readiness->second.detail;
}

bool PreferencesView::isRefreshingOllamaModels() const
{
    return model_.isRefreshingOllamaModels();
}

bool PreferencesView::isProviderReady() const
{
    return model_.isProviderReady();
}

int PreferencesView::onboardingStep() const
{
    return model_.onboardingStep();
}

void PreferencesView::setOnboardingStep(int step)
{
    model_.setOnboardingStep(std::clamp(step, 0, 4));
}

bool PreferencesView::hasCompletedOnboarding() const
{
    return settings_.hasCompletedOnboarding();
}

QString PreferencesView::statusText() const
{
    return model_.statusText();
}

int PreferencesView::section() const
{
    return int(model_.settingsSection());
}

void PreferencesView::setSection(int index)
{
    if (index >= 0 && index <= int(SettingsSection::presets))
        model_.setSettingsSection(SettingsSection(index));
}

void PreferencesView::requestAccessibility()
{
    model_.requestAccessibilityPermission();
}

void PreferencesView::refreshAccessibility()
{
    model_.refreshAccessibilityPermission();
}

void PreferencesView::restartOnboarding()
{
    model_.restartOnboarding();
}

void PreferencesView::finishOnboarding()
{
    model_.finishOnboarding();
}

void PreferencesView::checkProvidersAgain()
{
    model_.refreshProviderReadiness();
}

void PreferencesView::refreshOllamaModels()
{
    model_.refreshOllamaModels();
}

void PreferencesView::signIn(int index)
{
    if (index >= 0 && index < int(allProviderKinds.size()))
        spawn(openSignIn(QPointer<PreferencesView>(this), allProviderKinds[std::size_t(index)]));
}

Task<void> PreferencesView::openSignIn(QPointer<PreferencesView> view, ProviderKind kind)
{
    const auto command = signInCommand(kind);
    if (!command)
        co_return;
    const QString name = command->first;
    QString executable;
    QString problem;
    // Finding the program may ask the login shell: off the main thread.
    std::tie(executable, problem) = co_await runOffMainThread([name]() -> std::pair<QString, QString> {
        try {
            return { CLIExecutableResolver().resolve(name), QString() };
        } catch (const std::exception& error) {
            return { QString(), QString::fromUtf8(error.what()) };
        }
    });
    if (!view)
        co_return;
    const QString typed = QStringList(QStringList { name } + command->second).join(QLatin1Char(' '));
    const auto terminal = findTerminal();
    if (executable.isEmpty() || !terminal) {
        view->setSignInMessage(executable.isEmpty()
                ? problem
                : QStringLiteral("No terminal program was found. Run %1 in a terminal to sign in.").arg(typed));
        co_return;
    }
    const TerminalCommand run = inTerminal(*terminal, executable, command->second);
    auto* process = new QProcess(view.data()); // ends with Brindlet
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    process->start(run.program, run.arguments);
    view->setSignInMessage(
        QStringLiteral("Finish signing in to %1 in the terminal, then press Check again.").arg(displayName(kind)));
}

void PreferencesView::setSignInMessage(const QString& message)
{
    signInMessage_ = message;
    emit changed();
}

void PreferencesView::beginRecording(int index)
{
    if (!actionAt(index) || recording_ == index)
        return;
    recording_ = index;
    model_.setRecordingHotKey(true);
    keys_.start(X11InputMonitor::Kind::key,
        [this](const X11InputMonitor::Press& press) { recordPress(press.code, press.modifierMask); });
    emit changed();
}

void PreferencesView::endRecording()
{
    if (recording_ < 0)
        return;
    keys_.stop();
    recording_ = -1;
    model_.setRecordingHotKey(false);
    emit changed();
}

void PreferencesView::recordPress(unsigned int x11KeyCode, unsigned int x11Modifiers)
{
    const auto action = actionAt(recording_);
    if (!action || X11HotKeys::isModifierKey(x11KeyCode))
        return;
    const auto event = X11HotKeys::keyEventFor(x11KeyCode, X11HotKeys::modifierFlagsFor(x11Modifiers));
    // Delete and forward delete clear the shortcut and Escape cancels, whatever is held.
    if (event && (event->keyCode == 51 || event->keyCode == 117))
        return clearShortcut(recording_);
    if (event && event->keyCode == 53)
        return endRecording();
    const auto shortcut = event ? HotKeyShortcut::fromKeyEvent(*event) : std::nullopt;
    if (!shortcut) {
        QApplication::beep(); // not a shortcut: recording goes on
        return;
    }
    model_.setShortcut(shortcut, *action);
    endRecording();
}

void PreferencesView::clearShortcut(int index)
{
    if (const auto action = actionAt(index))
        model_.setShortcut(std::nullopt, *action);
    endRecording();
}

void PreferencesView::restoreDefaultShortcut(int index)
{
    if (const auto action = actionAt(index))
        model_.setShortcut(SettingsStore::defaultShortcut(*action), *action);
}

} // namespace brindlet
