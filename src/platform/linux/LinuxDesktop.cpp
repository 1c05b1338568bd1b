#include "LinuxDesktop.h"

#include <QGuiApplication>

namespace brindlet {

LinuxDesktop::LinuxDesktop()
    : accessibility_(bus_)
{
}

QString LinuxDesktop::problemBeforeStart()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return QStringLiteral("No X11 display: DISPLAY is not set. Capture, delivery and global shortcuts need an X11 "
                              "desktop; Wayland sessions are not supported yet.");
    X11Desktop probe;
    if (!probe.isConnected())
        return QStringLiteral("The X11 display %1 cannot be opened.").arg(qEnvironmentVariable("DISPLAY"));
    return QString();
}

QString LinuxDesktop::problem() const
{
    if (!x11_.isConnected() || QGuiApplication::platformName() != u"xcb")
        return QStringLiteral("No X11 display: capture, delivery and global shortcuts need one (DISPLAY is not set "
                              "or cannot be opened). Wayland sessions are not supported yet.");
    if (!bus_.isReachable())
        return QStringLiteral("The accessibility bus cannot be reached: check that at-spi2-core is installed and "
                              "that a session bus is running.");
    return QString();
}

} // namespace brindlet
