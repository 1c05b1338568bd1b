#pragma once

// Global shortcuts on an X11 desktop: each chord is grabbed on the root window, in every
// combination of the Caps Lock and Num Lock states, so that it fires whatever locks are on.
// A chord another client already holds is reported as a failure for its action.

#include "platform/KeyEvent.h"
#include "shortcuts/GlobalHotKeyManaging.h"

#include <QSocketNotifier>

#include <memory>
#include <optional>
#include <vector>

struct _XDisplay; // Xlib's Display, kept out of this header

namespace brindlet {

class X11HotKeys final : public GlobalHotKeyManaging {
public:
    // Connects to the display named by DISPLAY when the first shortcut is registered.
    X11HotKeys();
    ~X11HotKeys() override;
    X11HotKeys(const X11HotKeys&) = delete;
    X11HotKeys& operator=(const X11HotKeys&) = delete;

    void setOnPressed(std::function<void(GlobalHotKeyAction)> callback) override;
    std::map<GlobalHotKeyAction, GlobalHotKeyRegistrationError> registerShortcuts(
        const HotKeyShortcuts& shortcuts) override;
    void unregisterAll() override;

    // The X key symbol for a shortcut's key code, or nothing for a key with no X counterpart.
    static std::optional<unsigned long> keySymbolFor(std::uint32_t keyCode);
    static std::optional<std::uint32_t> keyCodeFor(unsigned long keySymbol);
    // A key press on this display, by its X key code, in the shortcut vocabulary, or nothing for
    // a key the vocabulary has no code for.
    static std::optional<KeyEvent> keyEventFor(unsigned int x11KeyCode, std::uint64_t modifierFlags);
    // Whether the key is a modifier itself (Shift, Control, Alt, Super and their kin).
    static bool isModifierKey(unsigned int x11KeyCode);
    // X's modifier state as the shortcut vocabulary's flags: Alt is Option, Super is Command.
    static std::uint64_t modifierFlagsFor(unsigned int x11Mask);
    // The X modifier mask for a shortcut's modifiers: Control, Alt, Shift, Super.
    static unsigned int modifierMaskFor(HotKeyModifiers modifiers);

private:
    struct Grab {
        GlobalHotKeyAction action;
        int keyCode;
        unsigned int modifiers;
    };
    bool connect();
    void readEvents();
    std::vector<unsigned int> lockVariants() const;

    _XDisplay* display_ = nullptr;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::function<void(GlobalHotKeyAction)> onPressed_;
    std::vector<Grab> grabs_;
};

} // namespace brindlet
