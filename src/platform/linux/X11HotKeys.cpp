#include "X11HotKeys.h"

#include "tasks/Runtime.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <QPointer>

namespace brindlet {

namespace {

// Errors that arrive while a grab is being tried; X reports a taken chord asynchronously.
int grabErrors = 0;
int lastGrabError = 0;

int recordGrabError(Display*, XErrorEvent* event)
{
    ++grabErrors;
    lastGrabError = event->error_code;
    return 0;
}

} // namespace

X11HotKeys::X11HotKeys() = default;

X11HotKeys::~X11HotKeys()
{
    unregisterAll();
    notifier_.reset();
    if (display_)
        XCloseDisplay(display_);
}

void X11HotKeys::setOnPressed(std::function<void(GlobalHotKeyAction)> callback)
{
    onPressed_ = std::move(callback);
}

namespace {
// The shortcut vocabulary's key codes, by the key they name on a US layout.
const std::map<std::uint32_t, unsigned long>& keySymbols()
{
    static const std::map<std::uint32_t, unsigned long> symbols {
        { 0, XK_a },
        { 1, XK_s },
        { 2, XK_d },
        { 3, XK_f },
        { 4, XK_h },
        { 5, XK_g },
        { 6, XK_z },
        { 7, XK_x },
        { 8, XK_c },
        { 9, XK_v },
        { 11, XK_b },
        { 12, XK_q },
        { 13, XK_w },
        { 14, XK_e },
        { 15, XK_r },
        { 16, XK_y },
        { 17, XK_t },
        { 18, XK_1 },
        { 19, XK_2 },
        { 20, XK_3 },
        { 21, XK_4 },
        { 22, XK_6 },
        { 23, XK_5 },
        { 24, XK_equal },
        { 25, XK_9 },
        { 26, XK_7 },
        { 27, XK_minus },
        { 28, XK_8 },
        { 29, XK_0 },
        { 30, XK_bracketright },
        { 31, XK_o },
        { 32, XK_u },
        { 33, XK_bracketleft },
        { 34, XK_i },
        { 35, XK_p },
        { 36, XK_Return },
        { 37, XK_l },
        { 38, XK_j },
        { 39, XK_apostrophe },
        { 40, XK_k },
        { 41, XK_semicolon },
        { 42, XK_backslash },
        { 43, XK_comma },
        { 44, XK_slash },
        { 45, XK_n },
        { 46, XK_m },
        { 47, XK_period },
        { 48, XK_Tab },
        { 49, XK_space },
        { 50, XK_grave },
        { 51, XK_BackSpace },
        { 53, XK_Escape },
        { 76, XK_KP_Enter },
        { 96, XK_F5 },
        { 97, XK_F6 },
        { 98, XK_F7 },
        { 99, XK_F3 },
        { 100, XK_F8 },
        { 101, XK_F9 },
        { 103, XK_F11 },
        { 109, XK_F10 },
        { 111, XK_F12 },
        { 115, XK_Home },
        { 116, XK_Prior },
        { 117, XK_Delete },
        { 118, XK_F4 },
        { 119, XK_End },
        { 120, XK_F2 },
        { 121, XK_Next },
        { 122, XK_F1 },
        { 123, XK_Left },
        { 124, XK_Right },
        { 125, XK_Down },
        { 126, XK_Up },
    };
    return symbols;
}
} // namespace

std::optional<unsigned long> X11HotKeys::keySymbolFor(std::uint32_t keyCode)
{
    const auto it = keySymbols().find(keyCode);
    return it == keySymbols().end() ? std::nullopt : std::optional(it->second);
}

std::optional<std::uint32_t> X11HotKeys::keyCodeFor(unsigned long keySymbol)
{
    for (const auto& [code, symbol] : keySymbols()) {
        if (symbol == keySymbol)
            return code;
    }
    return std::nullopt;
}

std::optional<KeyEvent> X11HotKeys::keyEventFor(unsigned int x11KeyCode, std::uint64_t modifierFlags)
{
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return std::nullopt;
    // The key's own symbol, as without modifiers: Shift+2 is the key 2.
    const KeySym symbol = XkbKeycodeToKeysym(display, KeyCode(x11KeyCode), 0, 0);
    XCloseDisplay(display);
    const auto code = keyCodeFor(symbol);
    if (!code)
        return std::nullopt;
    // Printable Latin-1 symbols are their own characters.
    std::optional<QString> characters;
    if (symbol >= 0x20 && symbol <= 0x7e)
        characters = QString(QChar(char16_t(symbol)));
    return KeyEvent { modifierFlags, std::uint16_t(*code), characters };
}

bool X11HotKeys::isModifierKey(unsigned int x11KeyCode)
{
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return false;
    const KeySym symbol = XkbKeycodeToKeysym(display, KeyCode(x11KeyCode), 0, 0);
    XCloseDisplay(display);
    return IsModifierKey(symbol) || symbol == XK_Super_L || symbol == XK_Super_R || symbol == XK_Hyper_L
        || symbol == XK_Hyper_R || symbol == XK_Meta_L || symbol == XK_Meta_R;
}

std::uint64_t X11HotKeys::modifierFlagsFor(unsigned int x11Mask)
{
    std::uint64_t flags = 0;
    for (const auto& [mask, flag] :
        { std::pair { ControlMask, KeyEvent::controlFlag }, std::pair { Mod1Mask, KeyEvent::optionFlag },
            std::pair { ShiftMask, KeyEvent::shiftFlag }, std::pair { Mod4Mask, KeyEvent::commandFlag } }) {
        if (x11Mask & unsigned(mask))
            flags |= flag;
    }
    return flags;
}

unsigned int X11HotKeys::modifierMaskFor(HotKeyModifiers modifiers)
{
    unsigned int mask = 0;
    if (modifiers.contains(HotKeyModifiers::control))
        mask |= ControlMask;
    if (modifiers.contains(HotKeyModifiers::option))
        mask |= Mod1Mask;
    if (modifiers.contains(HotKeyModifiers::shift))
        mask |= ShiftMask;
    if (modifiers.contains(HotKeyModifiers::command))
        mask |= Mod4Mask;
    return mask;
}

bool X11HotKeys::connect()
{
    if (display_)
        return true;
    display_ = XOpenDisplay(nullptr);
    if (!display_)
        return false;
    // No event mask on the root window: a grab reports its chord to us whatever the mask, and
    // with a mask we would also hear every key typed while the root has the focus.
    notifier_ = std::make_unique<QSocketNotifier>(ConnectionNumber(display_), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { readEvents(); });
    return true;
}

// Caps Lock, and whichever modifier Num Lock sits on.
std::vector<unsigned int> X11HotKeys::lockVariants() const
{
    unsigned int numLock = 0;
    if (XModifierKeymap* map = XGetModifierMapping(display_)) {
        const KeyCode numLockKey = XKeysymToKeycode(display_, XK_Num_Lock);
        for (int modifier = 0; modifier < 8 && numLockKey; ++modifier) {
            for (int i = 0; i < map->max_keypermod; ++i) {
                if (map->modifiermap[modifier * map->max_keypermod + i] == numLockKey)
                    numLock = 1u << modifier;
            }
        }
        XFreeModifiermap(map);
    }
    return { 0, LockMask, numLock, LockMask | numLock };
}

std::map<GlobalHotKeyAction, GlobalHotKeyRegistrationError> X11HotKeys::registerShortcuts(
    const HotKeyShortcuts& shortcuts)
{
    unregisterAll();
    std::map<GlobalHotKeyAction, GlobalHotKeyRegistrationError> failures;
    if (shortcuts.empty())
        return failures;
    if (!connect()) {
        for (const auto& [action, shortcut] : shortcuts)
            failures[action] = { shortcut, GlobalHotKeyRegistrationError::Failure::eventHandler, -1 };
        return failures;
    }
    const Window root = DefaultRootWindow(display_);
    const std::vector<unsigned int> locks = lockVariants();
    for (GlobalHotKeyAction action : allGlobalHotKeyActions) {
        const auto entry = shortcuts.find(action);
        if (entry == shortcuts.end())
            continue;
        const HotKeyShortcut& shortcut = entry->second;
        const auto symbol = keySymbolFor(shortcut.keyCode);
        const int keyCode = symbol ? XKeysymToKeycode(display_, *symbol) : 0;
        if (!keyCode) {
            failures[action] = { shortcut, GlobalHotKeyRegistrationError::Failure::shortcut, BadValue };
            continue;
        }
        const unsigned int modifiers = modifierMaskFor(shortcut.modifiers);
        XSync(display_, False);
        grabErrors = 0;
        XErrorHandler previous = XSetErrorHandler(recordGrabError);
        for (unsigned int lock : locks)
            XGrabKey(display_, keyCode, modifiers | lock, root, False, GrabModeAsync, GrabModeAsync);
        XSync(display_, False);
        XSetErrorHandler(previous);
        if (grabErrors > 0) {
            // Another client holds the chord: give back whatever variants did succeed.
            for (unsigned int lock : locks)
                XUngrabKey(display_, keyCode, modifiers | lock, root);
            XSync(display_, False);
            failures[action] = { shortcut, GlobalHotKeyRegistrationError::Failure::shortcut, lastGrabError };
            continue;
        }
        grabs_.push_back({ action, keyCode, modifiers });
    }
    XFlush(display_);
    return failures;
}

void X11HotKeys::unregisterAll()
{
    if (!display_)
        return;
    const Window root = DefaultRootWindow(display_);
    const std::vector<unsigned int> locks = lockVariants();
    for (const Grab& grab : grabs_) {
        for (unsigned int lock : locks)
            XUngrabKey(display_, grab.keyCode, grab.modifiers | lock, root);
    }
    grabs_.clear();
    XSync(display_, False);
}

void X11HotKeys::readEvents()
{
    const unsigned int relevant = ControlMask | Mod1Mask | ShiftMask | Mod4Mask;
    while (display_ && XPending(display_) > 0) {
        XEvent event;
        XNextEvent(display_, &event);
        if (event.type != KeyPress)
            continue;
        for (const Grab& grab : grabs_) {
            if (int(event.xkey.keycode) == grab.keyCode && (event.xkey.state & relevant) == grab.modifiers) {
                // Never inside the event handling itself: the press is handed to the main loop.
                QPointer<QSocketNotifier> alive(notifier_.get());
                const GlobalHotKeyAction action = grab.action;
                postToMainThread([this, alive, action] {
                    if (alive && onPressed_)
                        onPressed_(action);
                });
                break;
            }
        }
    }
}

} // namespace brindlet
