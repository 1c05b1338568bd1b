// brindlet: the application. A tray program on the Linux desktop with the Quick HUD, wired to
// the real backends: X11 and AT-SPI for the desktop, the provider service, the settings file.

#include "ApplicationInformation.h"
#include "PreferencesView.h"
#include "PresetLibraryView.h"
#include "QuickHUDPanel.h"
#include "SessionView.h"
#include "SettingsWindow.h"
#include "SingleInstance.h"
#include "WorkspaceWindow.h"
#include "analytics/AnalyticsClient.h"
#include "analytics/HttpsAnalyticsTransport.h"
#include "core/AppModel.h"
#include "core/TerminationGate.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/X11HotKeys.h"
#include "providers/AIProviderService.h"
#include "providers/ChildProcesses.h"
#include "providers/ManagedCLIProcess.h"
#include "selection/SelectionService.h"
#include "settings/JsonFileDefaultsStore.h"
#include "settings/SettingsStore.h"
#include "tasks/Runtime.h"
#include "updates/AppUpdateController.h"

#include <QApplication>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QMenu>
#include <QPainter>
#include <QSocketNotifier>
#include <QSystemTrayIcon>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

using namespace brindlet;

namespace {

void say(FILE* stream, const QString& text)
{
    std::fprintf(stream, "%s\n", text.toUtf8().constData());
    std::fflush(stream);
}

// SIGTERM, SIGINT and SIGHUP end the program the orderly way, through the event loop. A session
// that ends sends SIGTERM or SIGHUP; Ctrl+C at the terminal is the user's own complete quit.
int stopPipe[2] = { -1, -1 };

void quitOnSignals(TerminationGate& gate)
{
    if (::pipe2(stopPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* notifier = new QSocketNotifier(stopPipe[0], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, qApp, [&gate] {
        char signal = 0;
        while (::read(stopPipe[0], &signal, 1) == 1) { }
        gate.quit(signal == SIGINT ? ApplicationTerminationReason::explicitComplete
                                   : ApplicationTerminationReason::systemPowerOff);
    });
    for (int signal : { SIGTERM, SIGINT, SIGHUP }) {
        struct sigaction action { };
        action.sa_handler = [](int number) {
            const char byte = char(number);
            (void)!::write(stopPipe[1], &byte, 1);
        };
        ::sigaction(signal, &action, nullptr);
    }
}

QIcon brindletMark()
{
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(QColor(0x8a, 0x5a, 0x2b));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(4, 4, 56, 56);
    painter.setPen(Qt::white);
    QFont font = painter.font();
    font.setPixelSize(38);
    font.setBold(true);
    painter.setFont(font);
    painter.drawText(pixmap.rect(), Qt::AlignCenter, QStringLiteral("B"));
    return QIcon(pixmap);
}

// An action's name, two spaces, and its shortcut or "Off".
QString menuTitle(const QString& name, const std::optional<HotKeyShortcut>& shortcut)
{
    return name + QStringLiteral("  ") + (shortcut ? shortcut->displayText() : QStringLiteral("Off"));
}

Task<void> runNow(std::function<void()> step)
{
    step();
    co_return;
}

// The application, to its end; relaunch names the program that takes its place after an update.
int runBrindlet(int argc, char** argv, std::optional<QString>& relaunch)
{
    if (const QString problem = LinuxDesktop::problemBeforeStart(); !problem.isEmpty()) {
        say(stderr, QStringLiteral("brindlet: ") + problem);
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Brindlet"));
    QApplication::setApplicationVersion(QStringLiteral(BRINDLET_VERSION));
    QApplication::setQuitOnLastWindowClosed(false); // closing the HUD never quits

    SingleInstance instance;
    if (QApplication::arguments().contains(u"--quit"_qs)) {
        if (!instance.handOverToRunningInstance("quit"))
            say(stderr, QStringLiteral("brindlet: Brindlet is not running."));
        return 0;
    }
    if (instance.handOverToRunningInstance()) {
        say(stdout, QStringLiteral("Brindlet is already running; it opens its window."));
        return 0;
    }
    instance.listen();

    LinuxDesktop desktop;
    if (const QString problem = desktop.problem(); !problem.isEmpty()) {
        say(stderr, QStringLiteral("brindlet: ") + problem);
        return 1;
    }
    if (!desktop.accessibility().isProcessTrusted()) {
        desktop.accessibility().isProcessTrustedWithPrompt();
        say(stderr,
            QStringLiteral("Accessibility was off and is now switched on. Applications started before now (Qt "
                           "applications in particular) must be restarted before Brindlet can read their text."));
    }

    JsonFileDefaultsStore defaults;
    SettingsStore settings(defaults);
    // brindlet-cli may change the custom presets while Brindlet runs: take them in, so that they
    // show and the next save keeps them.
    QFileSystemWatcher settingsFolder({ QFileInfo(defaults.path()).absolutePath() });
    QObject::connect(&settingsFolder, &QFileSystemWatcher::directoryChanged, &settings,
        [&settings] { settings.reloadCustomPresets(); });
    SelectionService selection({ &desktop.accessibility(), &desktop.x11(), &desktop.x11(), &desktop.log(),
        &desktop.pasteboard(), &desktop.x11() });
    AIProviderService providers;
    X11HotKeys hotKeys;
    const QVariantMap information = applicationInformation();
    AnalyticsClient analytics(defaults, makeAnalyticsTransport(information), AnalyticsAppIdentity::current(information),
        &QDateTime::currentDateTimeUtc, &desktop.log());
    AppModel model({ &settings, &desktop.accessibility(), &selection, &providers, &hotKeys, &analytics,
        &desktop.pasteboard(), &desktop.x11(), nullptr });
    SessionView session(model);
    PreferencesView preferences(model, settings);
    WorkspaceWindow workspace(session, preferences);
    PresetLibraryView presetLibrary(settings);
    AppUpdateController updates(
        information, UpdaterStart::decide, Installation::of(QCoreApplication::applicationFilePath()), defaults);
    SettingsWindow settingsWindow(session, preferences, presetLibrary, updates);
    model.setSettingsOpener([&settingsWindow] { settingsWindow.open(); });
    QuickHUDPanel panel(model, session, workspace, settingsWindow);
    model.setWindows(&panel);
    model.setWorkspaceOpener([&workspace] { workspace.open(); });
    // Putting Brindlet away gives the keyboard back to the program beneath it.
    const auto closeWindows = [&panel, &desktop] {
        const bool wasActive = QGuiApplication::applicationState() == Qt::ApplicationActive;
        panel.closeApplicationWindows();
        if (wasActive)
            desktop.x11().activateTopmostOtherApplication();
    };
    const auto putAway = [&model, closeWindows] {
        model.dismissQuickHUD();
        closeWindows();
    };
    QObject::connect(&session, &SessionView::windowsCloseRequested, &session, closeWindows);
    // The bubble never stands over Brindlet itself; leaving Brindlet looks for a selection again.
    QObject::connect(&app, &QGuiApplication::applicationStateChanged, &model, [&](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive)
            panel.hideSelectionBubble();
        else if (state == Qt::ApplicationInactive)
            model.scheduleBubbleRecheck();
    });
    TerminationGate gate(settings, putAway);
    // An update's relaunch puts the windows away first and is told apart from a quit.
    updates.prepareForInstallAndRelaunch = [putAway] { return runNow(putAway); };
    updates.authorizeInstallAndRelaunch
        = [&gate] { gate.setPendingReason(ApplicationTerminationReason::updaterRelaunch); };
    updates.requestInstallAndRelaunchTermination
        = [&gate] { gate.quit(ApplicationTerminationReason::updaterRelaunch); };
    app.installEventFilter(&gate);
    QObject::connect(&app, &QGuiApplication::commitDataRequest, &gate,
        [&gate] { gate.setPendingReason(ApplicationTerminationReason::systemPowerOff); });
    QObject::connect(&instance, &SingleInstance::reopenRequested, &model, [&model] { model.openWorkspace(); });
    QObject::connect(&instance, &SingleInstance::quitRequested, &gate,
        [&gate] { gate.quit(ApplicationTerminationReason::explicitComplete); });

    QMenu menu(QStringLiteral("Brindlet"));
    QAction* openWorkspace = menu.addAction(QString());
    QAction* quickCommand = menu.addAction(QString());
    QAction* quickFix = menu.addAction(QString());
    menu.addSeparator();
    QAction* openSettings = menu.addAction(QStringLiteral("Settings…"));
    QAction* checkForUpdates = menu.addAction(QStringLiteral("Check for Updates…"));
    menu.addSeparator();
    QAction* quit = menu.addAction(QStringLiteral("Quit Brindlet Completely"));
    const auto refreshTitles = [&] {
        for (const auto& [item, action] : { std::pair { openWorkspace, GlobalHotKeyAction::openWorkspace },
                 std::pair { quickCommand, GlobalHotKeyAction::quickCommand },
                 std::pair { quickFix, GlobalHotKeyAction::quickFix } })
            item->setText(menuTitle(displayName(action), settings.shortcut(action)));
    };
    refreshTitles();
    QObject::connect(&menu, &QMenu::aboutToShow, &menu, refreshTitles);
    QObject::connect(openWorkspace, &QAction::triggered, &model, [&model] { model.openWorkspace(); });
    QObject::connect(
        quickCommand, &QAction::triggered, &model, [&model] { model.presentQuickHUD(QuickHUDTrigger::menuBar); });
    QObject::connect(quickFix, &QAction::triggered, &model, [&model] { model.startQuickFix(); });
    QObject::connect(openSettings, &QAction::triggered, &model, [&model] { model.openSettingsWindow(); });
    // The check's outcome shows in the settings' Updates section; a build without updates beeps.
    QObject::connect(checkForUpdates, &QAction::triggered, &model, [&updates, &model] {
        if (updates.checkForUpdates())
            model.openSettingsWindow();
        else
            QApplication::beep();
    });
    QObject::connect(
        quit, &QAction::triggered, &gate, [&gate] { gate.quit(ApplicationTerminationReason::explicitComplete); });
    QSystemTrayIcon tray(brindletMark());
    tray.setToolTip(QStringLiteral("Brindlet"));
    tray.setContextMenu(&menu);
    if (QSystemTrayIcon::isSystemTrayAvailable())
        tray.show();
    else
        say(stderr,
            QStringLiteral("This desktop has no system tray: start brindlet again to open its window. Its shortcuts "
                           "work, and brindlet --quit ends it."));
    if (Updater* updater = updates.updater()) {
        QObject::connect(updater, &Updater::updateFound, &tray, [&tray](const QString& version) {
            tray.showMessage(QStringLiteral("Brindlet"), QStringLiteral("Brindlet %1 is available.").arg(version));
        });
    }

    quitOnSignals(gate);
    model.start();
    // A first run opens the workspace window, where onboarding waits.
    if (!settings.hasCompletedOnboarding())
        model.openWorkspace();
    say(stdout, QStringLiteral("Brindlet is running."));
    const int code = QApplication::exec();

    // Nothing Brindlet started outlives it: tasks end, and every agent program with them.
    cancelAllTasks();
    finishAllTasks(std::chrono::seconds(2));
    ChildProcesses::shared().endAll(ManagedCLIProcess::killDelay);
    if (updates.updater())
        relaunch = updates.updater()->relaunchExecutable();
    return code;
}

} // namespace

int main(int argc, char** argv)
{
    std::optional<QString> relaunch;
    const int code = runBrindlet(argc, argv, relaunch);
    // The updated program takes this process's place once everything of the old one has ended.
    if (relaunch) {
        QByteArray path = relaunch->toLocal8Bit();
        char* const arguments[] = { path.data(), nullptr };
        ::execv(path.constData(), arguments);
        say(stderr, QStringLiteral("brindlet: the updated Brindlet could not be started: ") + *relaunch);
    }
    return code;
}
