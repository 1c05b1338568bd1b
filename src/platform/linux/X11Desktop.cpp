#include "X11Desktop.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace brindlet {

namespace {

// Ctrl+V through XTest. Every key code is looked up before anything is posted.
class X11PasteChord final : public KeyChord {
public:
    X11PasteChord(Display* display, KeyCode control, KeyCode v, std::vector<KeyCode> held)
        : display_(display)
        , control_(control)
        , v_(v)
        , held_(std::move(held))
    {
    }
    void postKeyDown() override
    {
        // A modifier the user still holds would turn the chord into another one.
        for (KeyCode key : held_)
            XTestFakeKeyEvent(display_, key, False, CurrentTime);
        XTestFakeKeyEvent(display_, control_, True, CurrentTime);
        XTestFakeKeyEvent(display_, v_, True, CurrentTime);
        XFlush(display_);
    }
    void postKeyUp() override
    {
        XTestFakeKeyEvent(display_, v_, False, CurrentTime);
        XTestFakeKeyEvent(display_, control_, False, CurrentTime);
        XFlush(display_);
    }

private:
    Display* display_;
    KeyCode control_;
    KeyCode v_;
    std::vector<KeyCode> held_;
};

} // namespace

X11Desktop::X11Desktop()
    : display_(XOpenDisplay(nullptr))
{
}

X11Desktop::~X11Desktop()
{
    if (display_)
        XCloseDisplay(display_);
}

std::optional<unsigned long> X11Desktop::windowProperty(unsigned long window, const char* name, unsigned long type)
{
    const Atom property = XInternAtom(display_, name, True);
    if (property == None)
        return std::nullopt;
    Atom actualType = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long remaining = 0;
    unsigned char* data = nullptr;
    std::optional<unsigned long> value;
    if (XGetWindowProperty(
            display_, window, property, 0, 1, False, type, &actualType, &format, &count, &remaining, &data)
            == Success
        && data && count == 1 && format == 32)
        value = *reinterpret_cast<unsigned long*>(data);
    if (data)
        XFree(data);
    return value;
}

std::optional<unsigned long> X11Desktop::activeWindow()
{
    if (!display_)
        return std::nullopt;
    const auto window = windowProperty(DefaultRootWindow(display_), "_NET_ACTIVE_WINDOW", XA_WINDOW);
    return window && *window != None ? window : std::nullopt;
}

std::optional<std::int32_t> X11Desktop::processOf(unsigned long window)
{
    const auto pid = windowProperty(window, "_NET_WM_PID", XA_CARDINAL);
    return pid ? std::optional(std::int32_t(*pid)) : std::nullopt;
}

std::vector<unsigned long> X11Desktop::clientWindows(const char* listName)
{
    std::vector<unsigned long> windows;
    const Atom list = display_ ? XInternAtom(display_, listName, True) : None;
    if (list == None)
        return windows;
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long remaining = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(display_, DefaultRootWindow(display_), list, 0, 4096, False, XA_WINDOW, &type, &format,
            &count, &remaining, &data)
            == Success
        && data && format == 32) {
        const auto* ids = reinterpret_cast<unsigned long*>(data);
        windows.assign(ids, ids + count);
    }
    if (data)
        XFree(data);
    return windows;
}

std::optional<RunningApplication> X11Desktop::frontmostApplication()
{
    const auto window = activeWindow();
    const auto pid = window ? processOf(*window) : std::nullopt;
    if (!pid)
        return std::nullopt;
    RunningApplication application;
    application.processIdentifier = *pid;
    // The window's class names the application; /proc names only the executable, which for an
    // interpreter is "python3".
    XClassHint hint {};
    if (XGetClassHint(display_, *window, &hint)) {
        if (hint.res_class)
            application.localizedName = QString::fromLocal8Bit(hint.res_class);
        if (hint.res_name)
            application.bundleIdentifier = QString::fromLocal8Bit(hint.res_name);
        XFree(hint.res_name);
        XFree(hint.res_class);
    }
    const QString executable = QFileInfo(QStringLiteral("/proc/%1/exe").arg(*pid)).symLinkTarget();
    if (!executable.isEmpty())
        application.bundleURL = QFileInfo(executable).absolutePath();
    if (!application.localizedName) {
        QFile comm(QStringLiteral("/proc/%1/comm").arg(*pid));
        if (comm.open(QIODevice::ReadOnly))
            application.localizedName = QString::fromLocal8Bit(comm.readAll().trimmed());
    }
    return application;
}

std::int32_t X11Desktop::currentProcessID()
{
    return std::int32_t(::getpid());
}

bool X11Desktop::isApplicationActive()
{
    const auto window = activeWindow();
    const auto pid = window ? processOf(*window) : std::nullopt;
    return pid && *pid == currentProcessID();
}

bool X11Desktop::fileExists(const QString& path)
{
    return QFileInfo::exists(path);
}

void X11Desktop::openAccessibilitySettings()
{
    // GNOME's panel where assistive technologies are switched on; other desktops have none.
    const QString panel = QStandardPaths::findExecutable(QStringLiteral("gnome-control-center"));
    if (!panel.isEmpty())
        QProcess::startDetached(panel, { QStringLiteral("universal-access") });
}

bool X11Desktop::isProcessAlive(std::int32_t processID)
{
    return processID > 0 && (::kill(processID, 0) == 0 || errno == EPERM);
}

bool X11Desktop::isRunningApplication(std::int32_t processID)
{
    for (unsigned long window : clientWindows()) {
        if (processOf(window) == processID)
            return true;
    }
    return false;
}

void X11Desktop::activateApplication(std::int32_t processID)
{
    for (unsigned long window : clientWindows()) {
        if (processOf(window) == processID)
            return activateWindow(window);
    }
}

void X11Desktop::activateWindow(unsigned long window)
{
    // Asking the window manager, as a pager would (source 2), so that it does not refuse.
    XEvent event {};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display_, "_NET_ACTIVE_WINDOW", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = 2;
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(display_, DefaultRootWindow(display_), False, SubstructureRedirectMask | SubstructureNotifyMask, &event);
    XFlush(display_);
}

void X11Desktop::activateTopmostOtherApplication()
{
    const std::vector<unsigned long> stacking = clientWindows("_NET_CLIENT_LIST_STACKING");
    for (auto window = stacking.rbegin(); window != stacking.rend(); ++window) {
        XWindowAttributes attributes {};
        const auto pid = processOf(*window);
        if (pid && *pid != currentProcessID() && XGetWindowAttributes(display_, *window, &attributes)
            && attributes.map_state == IsViewable)
            return activateWindow(*window);
    }
}

std::optional<X11Desktop::PointerState> X11Desktop::queryPointer()
{
    if (!display_)
        return std::nullopt;
    Window root = None;
    Window child = None;
    int x = 0;
    int y = 0;
    int windowX = 0;
    int windowY = 0;
    unsigned int mask = 0;
    if (!XQueryPointer(display_, DefaultRootWindow(display_), &root, &child, &x, &y, &windowX, &windowY, &mask))
        return std::nullopt;
    return PointerState { QPointF(x, y), mask };
}

std::optional<QPointF> X11Desktop::pointerLocation()
{
    const auto pointer = queryPointer();
    return pointer ? std::optional(pointer->location) : std::nullopt;
}

std::uint64_t X11Desktop::pressedMouseButtons()
{
    const unsigned int mask = queryPointer().value_or(PointerState {}).buttons;
    // Left, right, then the middle button, as the rest of the program counts them.
    return ((mask & Button1Mask) ? 1u : 0u) | ((mask & Button3Mask) ? 2u : 0u) | ((mask & Button2Mask) ? 4u : 0u);
}

std::unique_ptr<KeyChord> X11Desktop::makePasteChord()
{
    if (!display_)
        return nullptr;
    int event = 0;
    int error = 0;
    int major = 0;
    int minor = 0;
    if (!XTestQueryExtension(display_, &event, &error, &major, &minor))
        return nullptr;
    const KeyCode control = XKeysymToKeycode(display_, XK_Control_L);
    const KeyCode v = XKeysymToKeycode(display_, XK_v);
    if (!control || !v)
        return nullptr;
    std::vector<KeyCode> held;
    char keys[32] = {};
    XQueryKeymap(display_, keys);
    if (XModifierKeymap* map = XGetModifierMapping(display_)) {
        for (int i = 0; i < 8 * map->max_keypermod; ++i) {
            const KeyCode key = map->modifiermap[i];
            // Lock keys (Caps Lock, Num Lock) are toggles, not held modifiers.
            if (key && (keys[key / 8] & (1 << (key % 8))) && i / map->max_keypermod != LockMapIndex)
                held.push_back(key);
        }
        XFreeModifiermap(map);
    }
    return std::make_unique<X11PasteChord>(display_, control, v, std::move(held));
}

} // namespace brindlet
