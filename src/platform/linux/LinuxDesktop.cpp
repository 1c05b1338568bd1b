#include "LinuxDesktop.h"

#include <QGuiApplication>

namespace brindlet {

LinuxDesktop::LinuxDesktop()
    : accessibility_(bus_)
{
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
