#include "X11InputMonitor.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/keysym.h>

#include <vector>

namespace brindlet {

namespace {
// Buttons 4 to 7 are the wheels: turning one is no click.
bool isWheel(int button)
{
    return button >= 4 && button <= 7;
}
} // namespace

X11InputMonitor::~X11InputMonitor()
{
    stop();
}

bool X11InputMonitor::start(Kind kind, std::function<void(const Press&)> onPress)
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
    if (kind == Kind::click) {
        XISetMask(bits, XI_RawButtonPress);
    } else {
        // Releases too: raw events carry no modifier state, so the held modifiers are followed.
        XISetMask(bits, XI_RawKeyPress);
        XISetMask(bits, XI_RawKeyRelease);
    }
    XIEventMask mask { XIAllMasterDevices, int(sizeof bits), bits };
    XISelectEvents(display_, DefaultRootWindow(display_), &mask, 1);
    XFlush(display_);
    kind_ = kind;
    onPress_ = std::move(onPress);
    heldModifiers_ = pointerState().second;
    notifier_ = std::make_unique<QSocketNotifier>(ConnectionNumber(display_), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { readEvents(); });
    return true;
}

void X11InputMonitor::stop()
{
    // A click may stop the monitor from within its own notification: the notifier goes later.
    if (notifier_) {
        notifier_->setEnabled(false);
        notifier_.release()->deleteLater();
    }
    onPress_ = nullptr;
    // Closing the connection ends the selection of events with it.
    if (display_)
        XCloseDisplay(display_);
    display_ = nullptr;
}

std::pair<QPoint, unsigned int> X11InputMonitor::pointerState() const
{
    Window root = 0;
    Window child = 0;
    int rootX = 0;
    int rootY = 0;
    int x = 0;
    int y = 0;
    unsigned int mask = 0;
    if (!display_
        || !XQueryPointer(display_, DefaultRootWindow(display_), &root, &child, &rootX, &rootY, &x, &y, &mask))
        return {};
    return { QPoint(rootX, rootY), mask };
}

unsigned int X11InputMonitor::modifierMaskOf(unsigned int keyCode) const
{
    switch (XkbKeycodeToKeysym(display_, KeyCode(keyCode), 0, 0)) {
    case XK_Control_L:
    case XK_Control_R: return ControlMask;
    case XK_Shift_L:
    case XK_Shift_R: return ShiftMask;
    case XK_Alt_L:
    case XK_Alt_R:
    case XK_Meta_L:
    case XK_Meta_R: return Mod1Mask;
    case XK_Super_L:
    case XK_Super_R: return Mod4Mask;
    default: return 0;
    }
}

void X11InputMonitor::readEvents()
{
    // Events that arrive during a round trip (the pointer query below) wait in Xlib's queue, where
    // the socket's notifier does not see them: read until that queue is empty too.
    while (display_ && XPending(display_)) {
        std::vector<Press> presses;
        while (display_ && XPending(display_)) {
            XEvent event;
            XNextEvent(display_, &event);
            XGenericEventCookie& cookie = event.xcookie;
            if (cookie.type != GenericEvent || cookie.extension != opcode_ || !XGetEventData(display_, &cookie))
                continue;
            const auto code = unsigned(static_cast<XIRawEvent*>(cookie.data)->detail);
            if (cookie.evtype == XI_RawButtonPress && !isWheel(int(code))) {
                presses.push_back({ code, {}, 0 });
            } else if (cookie.evtype == XI_RawKeyPress || cookie.evtype == XI_RawKeyRelease) {
                const unsigned int modifier = modifierMaskOf(code);
                if (modifier && cookie.evtype == XI_RawKeyPress)
                    heldModifiers_ |= modifier;
                else if (modifier)
                    heldModifiers_ &= ~modifier;
                else if (cookie.evtype == XI_RawKeyPress)
                    presses.push_back({ code, {}, heldModifiers_ });
            }
            XFreeEventData(display_, &cookie);
        }
        if (presses.empty())
            continue;
        // Raw events carry no position: the pointer is where the press happened a moment ago.
        const QPoint pointer = pointerState().first;
        const auto onPress = onPress_; // a call may stop this monitor
        for (Press& press : presses) {
            press.pointer = pointer;
            onPress(press);
            if (!isWatching())
                return;
        }
    }
}

} // namespace brindlet
