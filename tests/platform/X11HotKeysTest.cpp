#include "platform/linux/X11HotKeys.h"
#include "settings/SettingsStore.h"
#include "support/EventLoop.h"
#include "support/Keyboard.h"
#include "support/PrivateDesktop.h"

#include <gtest/gtest.h>

// Xlib's macros (None, Bool, …) would break gtest's headers: it comes last.
#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

class X11HotKeysTest : public ::testing::Test {
protected:
    PrivateDesktop desktop;
    Display* other = nullptr; // another client on the same display
    X11HotKeys hotKeys;
    std::vector<GlobalHotKeyAction> pressed;

    void SetUp() override
    {
        ASSERT_TRUE(desktop.problem().isEmpty()) << desktop.problem().toStdString();
        other = XOpenDisplay(desktop.display().toLatin1().constData());
        ASSERT_TRUE(other);
        hotKeys.setOnPressed([this](GlobalHotKeyAction action) { pressed.push_back(action); });
    }
    void TearDown() override
    {
        if (other)
            XCloseDisplay(other);
    }
};

const HotKeyShortcut quickCommand = SettingsStore::defaultShortcut(GlobalHotKeyAction::quickCommand);
const HotKeyShortcut controlShiftJ { 38, HotKeyModifiers { HotKeyModifiers::control | HotKeyModifiers::shift },
    u"J"_qs };

TEST_F(X11HotKeysTest, ChordsFireWhateverLocksAreOnAndOnlyWhileRegistered)
{
    ASSERT_TRUE(hotKeys
                    .registerShortcuts({ { GlobalHotKeyAction::quickCommand, quickCommand },
                        { GlobalHotKeyAction::quickFix, controlShiftJ } })
                    .empty());
    pressChord({ XK_Shift_L, XK_Super_L, XK_space });
    ASSERT_TRUE(runUntil([&] { return pressed.size() == 1; }, std::chrono::seconds(5)));
    EXPECT_EQ(pressed.back(), GlobalHotKeyAction::quickCommand);

    pressChord({ XK_Num_Lock }); // on
    pressChord({ XK_Caps_Lock }); // on
    pressChord({ XK_Control_L, XK_Shift_L, XK_j });
    ASSERT_TRUE(runUntil([&] { return pressed.size() == 2; }, std::chrono::seconds(5)));
    EXPECT_EQ(pressed.back(), GlobalHotKeyAction::quickFix);
    pressChord({ XK_Num_Lock });
    pressChord({ XK_Caps_Lock });

    pressChord({ XK_Control_L, XK_j }); // not a registered chord
    hotKeys.unregisterAll();
    pressChord({ XK_Control_L, XK_Shift_L, XK_j });
    drainEvents();
    EXPECT_EQ(pressed.size(), 2u);
}

TEST_F(X11HotKeysTest, AChordAnotherClientHoldsIsAFailureAndTheRestRegister)
{
    const Window root = DefaultRootWindow(other);
    const int j = XKeysymToKeycode(other, XK_j);
    XGrabKey(other, j, ControlMask | ShiftMask, root, False, GrabModeAsync, GrabModeAsync);
    XSync(other, False);

    const auto failures = hotKeys.registerShortcuts(
        { { GlobalHotKeyAction::quickCommand, quickCommand }, { GlobalHotKeyAction::quickFix, controlShiftJ } });
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures.at(GlobalHotKeyAction::quickFix).description(),
        u"⌃⇧J is unavailable. Choose another shortcut or change the conflicting shortcut in the other app."_qs);
    pressChord({ XK_Shift_L, XK_Super_L, XK_space });
    ASSERT_TRUE(runUntil([&] { return pressed.size() == 1; }, std::chrono::seconds(5)));

    // The variants that were free are given back, so the other client can take them later.
    XUngrabKey(other, j, ControlMask | ShiftMask, root);
    XSync(other, False);
    EXPECT_TRUE(hotKeys.registerShortcuts({ { GlobalHotKeyAction::quickFix, controlShiftJ } }).empty());
}

} // namespace
