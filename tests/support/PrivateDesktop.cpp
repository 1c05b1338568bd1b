#include "PrivateDesktop.h"

#include <QDeadlineTimer>
#include <QThread>

#include <csignal>
#include <sys/prctl.h>

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
    : previousDisplay_(qgetenv("DISPLAY"))
{
    // Should the test process die before its destructor runs, the desktop dies with it.
    for (QProcess* process : { &server_, &windowManager_ })
        process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    // -displayfd picks a free display and writes its number to our end of the pipe.
    server_.start(QStringLiteral("Xvfb"),
        { QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-nolisten"), QStringLiteral("tcp"),
            QStringLiteral("-screen"), QStringLiteral("0"), QStringLiteral("1280x800x24") });
    if (!server_.waitForStarted(5000)) {
        problem_ = QStringLiteral("Xvfb did not start: ") + server_.errorString();
        return;
    }
    QByteArray number;
    const QDeadlineTimer deadline(10000);
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
    windowManager_.setProcessEnvironment(environment);
    windowManager_.start(QStringLiteral("openbox"), { QStringLiteral("--sm-disable") });
    while (!windowManagerRunning(display_) && !deadline.hasExpired())
        QThread::msleep(20);
    if (!windowManagerRunning(display_))
        problem_ = QStringLiteral("openbox did not take over the display");
}

PrivateDesktop::~PrivateDesktop()
{
    for (QProcess* process : { &windowManager_, &server_ }) {
        if (process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(5000);
        }
    }
    if (previousDisplay_.isNull())
        qunsetenv("DISPLAY");
    else
        qputenv("DISPLAY", previousDisplay_);
}

} // namespace brindlet::test
