#include "X11ClickMonitor.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

namespace brindlet {

namespace {
// Buttons 4 to 7 are the wheels: turning one is no click.
bool isWheel(int button)
{
    return button >= 4 && button <= 7;
}
} // namespace

X11ClickMonitor::~X11ClickMonitor()
{
    stop();
}

bool X11ClickMonitor::start(std::function<void(QPoint)> onClick)
{
    if (isWatching())
        return true;
    display_ = XOpenDisplay(nullptr);
    if (!display_)
        return false;
    int event = 0;
    int error = 0;
    int major = 2;
    int minor = 0;
    if (!XQueryExtension(display_, "XInputExtension", &opcode_, &event, &error)
        || XIQueryVersion(display_, &major, &minor) != Success) {
        stop();
        return false;
    }
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(bits, XI_RawButtonPress);
    XIEventMask mask { XIAllMasterDevices, int(sizeof bits), bits };
    XISelectEvents(display_, DefaultRootWindow(display_), &mask, 1);
    XFlush(display_);
    onClick_ = std::move(onClick);
    notifier_ = std::make_unique<QSocketNotifier>(ConnectionNumber(display_), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { readEvents(); });
    return true;
}

void X11ClickMonitor::stop()
{
    // A click may stop the monitor from within its own notification: the notifier goes later.
    if (notifier_) {
        notifier_->setEnabled(false);
        notifier_.release()->deleteLater();
    }
    onClick_ = nullptr;
    // Closing the connection ends the selection of events with it.
    if (display_)
        XCloseDisplay(display_);
    display_ = nullptr;
}

void X11ClickMonitor::readEvents()
{
    bool clicked = false;
    while (display_ && XPending(display_)) {
        XEvent event;
        XNextEvent(display_, &event);
        XGenericEventCookie& cookie = event.xcookie;
        if (cookie.type != GenericEvent || cookie.extension != opcode_ || !XGetEventData(display_, &cookie))
            continue;
        if (cookie.evtype == XI_RawButtonPress && !isWheel(static_cast<XIRawEvent*>(cookie.data)->detail))
            clicked = true;
        XFreeEventData(display_, &cookie);
    }
    if (!clicked)
        return;
    // Raw events carry no position: the pointer is where the press happened a moment ago.
    Window root = 0;
    Window child = 0;
    int rootX = 0;
    int rootY = 0;
    int x = 0;
    int y = 0;
    unsigned int buttons = 0;
    if (!XQueryPointer(display_, DefaultRootWindow(display_), &root, &child, &rootX, &rootY, &x, &y, &buttons))
        return;
    const auto onClick = onClick_; // the call may stop this monitor
    onClick(QPoint(rootX, rootY));
}

} // namespace brindlet
