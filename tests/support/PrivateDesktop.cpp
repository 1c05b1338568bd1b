#include "PrivateDesktop.h"

#include <QDeadlineTimer>
#include <QThread>

#include <QScopeGuard>

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace brindlet::test {

namespace {

// The window manager has taken over once it announces itself on the root window.
bool windowManagerRunning(const QString& display)
{
    Display* connection = XOpenDisplay(display.toLatin1().constData());
    if (!connection)
        return false;
    const Atom check = XInternAtom(connection, "_NET_SUPPORTING_WM_CHECK", True);
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long remaining = 0;
    unsigned char* data = nullptr;
    const bool found = check != None
        && XGetWindowProperty(connection, DefaultRootWindow(connection), check, 0, 1, False, XA_WINDOW, &type, &format,
               &count, &remaining, &data)
            == Success
        && count == 1;
    if (data)
        XFree(data);
    XCloseDisplay(connection);
    return found;
}

} // namespace

PrivateDesktop::PrivateDesktop()
    : PrivateDesktop(Parts {})
{
}

PrivateDesktop::PrivateDesktop(Parts parts)
    : previousDisplay_(qgetenv("DISPLAY"))
    , previousBus_(qgetenv("DBUS_SESSION_BUS_ADDRESS"))
    , previousRuntimeDirectory_(qgetenv("XDG_RUNTIME_DIR"))
{
    // Should the test process die before its destructor runs, the desktop dies with it.
    for (QProcess* process : { &server_, &windowManager_, &sessionBus_ })
        process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    // Desktops of tests running side by side start one after the other: openbox instances that
    // start at the same moment were seen never to take over their displays.
    const int startLock = ::open("/tmp/brindlet-private-desktop.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (startLock >= 0)
        ::flock(startLock, LOCK_EX);
    const auto releaseStartLock = qScopeGuard([startLock] {
        if (startLock >= 0)
            ::close(startLock);
    });
    // -displayfd picks a free display and writes its number to our end of the pipe.
    server_.start(QStringLiteral("Xvfb"),
        { QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-noreset"), QStringLiteral("-nolisten"),
            QStringLiteral("tcp"), QStringLiteral("-screen"), QStringLiteral("0"), QStringLiteral("1280x800x24") });
    if (!server_.waitForStarted(5000)) {
        problem_ = QStringLiteral("Xvfb did not start: ") + server_.errorString();
        return;
    }
    QByteArray number;
    const QDeadlineTimer deadline(30000);
    while (!number.contains('\n') && !deadline.hasExpired() && server_.state() == QProcess::Running) {
        server_.waitForReadyRead(100);
        number += server_.readAllStandardOutput();
    }
    if (!number.contains('\n')) {
        problem_ = QStringLiteral("Xvfb gave no display: ") + QString::fromLocal8Bit(server_.readAllStandardError());
        return;
    }
    display_ = QLatin1Char(':') + QString::fromLatin1(number.trimmed());
    qputenv("DISPLAY", display_.toLatin1());

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), display_);
    // The C locale spares it reading the whole table of compose sequences, which on a loaded
    // machine took longer than a test should wait.
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    // Its own configuration and cache folders, shared with no other instance.
    for (const char* variable : { "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME" })
        environment.insert(QLatin1String(variable), runtimeDirectory_.path());
    windowManager_.setProcessEnvironment(environment);
    // Under load an openbox was seen, rarely, never to take over its display, silently: one that
    // has not after a few seconds is ended and started again.
    const bool wantsWindowManager = parts.windowManager == WindowManager::openbox;
    bool tookOver = false;
    for (int attempt = 0; wantsWindowManager && !tookOver && attempt < 3; ++attempt) {
        if (attempt > 0) {
            windowManager_.kill();
            windowManager_.waitForFinished(2000);
        }
        windowManager_.start(QStringLiteral("openbox"), { QStringLiteral("--sm-disable") });
        const QDeadlineTimer attemptDeadline(8000);
        while (!(tookOver = windowManagerRunning(display_)) && !attemptDeadline.hasExpired()
            && windowManager_.state() != QProcess::NotRunning)
            QThread::msleep(20);
    }
    if (wantsWindowManager && !tookOver) {
        Display* probe = XOpenDisplay(display_.toLatin1().constData());
        problem_ = QStringLiteral("openbox did not take over the display %1 (server %2, openbox %3, connection %4): ")
                       .arg(display_, server_.state() == QProcess::Running ? u"running"_qs : u"gone"_qs,
                           windowManager_.state() == QProcess::Running ? u"running"_qs : u"gone"_qs,
                           probe ? u"opens"_qs : u"refused"_qs)
            + QString::fromLocal8Bit(windowManager_.readAllStandardError());
        if (probe)
            XCloseDisplay(probe);
    }
    startBusIfAsked(parts);
}

void PrivateDesktop::startBusIfAsked(const Parts& parts)
{
    if (parts.bus == Bus::session && problem_.isEmpty())
        startSessionBus();
}

void PrivateDesktop::startSessionBus()
{
    // The accessibility bus puts its socket under the runtime directory.
    qputenv("XDG_RUNTIME_DIR", runtimeDirectory_.path().toLocal8Bit());
    // The accessibility switch lives in GSettings: kept in memory, nothing a test turns on stays
    // on in the user's settings.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("memory"));
    sessionBus_.setProcessEnvironment(environment);
    sessionBus_.start(QStringLiteral("dbus-daemon"),
        { QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1"),
            QStringLiteral("--address=unix:path=") + runtimeDirectory_.filePath(QStringLiteral("bus")) });
    QByteArray address;
    const QDeadlineTimer deadline(10000);
    while (!address.contains('\n') && !deadline.hasExpired() && sessionBus_.state() != QProcess::NotRunning) {
        sessionBus_.waitForReadyRead(100);
        address += sessionBus_.readAllStandardOutput();
    }
    if (!address.contains('\n')) {
        problem_ = QStringLiteral("the session bus did not start: ") + sessionBus_.errorString();
        return;
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", address.trimmed());
}

PrivateDesktop::~PrivateDesktop()
{
    // Asked to end first, so that the server removes its socket and lock file for the next one.
    for (QProcess* process : { &sessionBus_, &windowManager_, &server_ }) {
        if (process->state() == QProcess::NotRunning)
            continue;
        process->terminate();
        if (!process->waitForFinished(3000)) {
            process->kill();
            process->waitForFinished(5000);
        }
    }
    for (const auto& [name, previous] :
        { std::pair { "DISPLAY", previousDisplay_ }, std::pair { "DBUS_SESSION_BUS_ADDRESS", previousBus_ },
            std::pair { "XDG_RUNTIME_DIR", previousRuntimeDirectory_ } }) {
        if (previous.isNull())
            qunsetenv(name);
        else
            qputenv(name, previous);
    }
}

} // namespace brindlet::test
