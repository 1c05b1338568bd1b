#include "platform/linux/X11Desktop.h"
#include "support/EventLoop.h"
#include "support/PrivateDesktop.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <gtest/gtest.h>

// Xlib's macros (None, Bool, …) would break gtest's headers: it comes last.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

class X11DesktopTest : public ::testing::Test {
protected:
    PrivateDesktop desktop { { PrivateDesktop::WindowManager::openbox } };
    Display* client = nullptr; // plays the other applications
    std::unique_ptr<X11Desktop> x11;
    std::vector<std::unique_ptr<QProcess>> processes; // stand-ins whose ids the windows carry

    void SetUp() override
    {
        ASSERT_TRUE(desktop.problem().isEmpty()) << desktop.problem().toStdString();
        // Xlib's default handler ends the process on any error, such as focusing a window the
        // window manager has not framed yet; those are expected here.
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
        client = XOpenDisplay(desktop.display().toLatin1().constData());
        ASSERT_TRUE(client);
        x11 = std::make_unique<X11Desktop>();
        ASSERT_TRUE(x11->isConnected());
    }
    void TearDown() override
    {
        for (auto& process : processes) {
            process->kill();
            process->waitForFinished();
        }
        x11.reset();
        if (client)
            XCloseDisplay(client);
    }
    std::int32_t startProcess()
    {
        processes.push_back(std::make_unique<QProcess>());
        processes.back()->start(QStringLiteral("sleep"), { QStringLiteral("60") });
        processes.back()->waitForStarted();
        return std::int32_t(processes.back()->processId());
    }
    // A top-level window as a toolkit would make it: with a class and the owner's process id.
    Window openWindow(std::int32_t processID, const char* name)
    {
        const Window window = XCreateSimpleWindow(client, DefaultRootWindow(client), 0, 0, 300, 200, 0, 0, 0);
        XClassHint hint { const_cast<char*>(name), const_cast<char*>(name) };
        XSetClassHint(client, window, &hint);
        const long pid = processID;
        XChangeProperty(client, window, XInternAtom(client, "_NET_WM_PID", False), XA_CARDINAL, 32, PropModeReplace,
            reinterpret_cast<const unsigned char*>(&pid), 1);
        XSelectInput(client, window, KeyPressMask);
        XMapWindow(client, window);
        // Brought forward as a taskbar would: whether a window manager focuses new windows by
        // itself depends on its timing.
        const QDeadlineTimer deadline(5000);
        while (x11->frontmostApplication().value_or(RunningApplication {}).processIdentifier != processID
            && !deadline.hasExpired()) {
            XEvent request {};
            request.xclient.type = ClientMessage;
            request.xclient.window = window;
            request.xclient.message_type = XInternAtom(client, "_NET_ACTIVE_WINDOW", False);
            request.xclient.format = 32;
            request.xclient.data.l[0] = 2;
            XSendEvent(
                client, DefaultRootWindow(client), False, SubstructureRedirectMask | SubstructureNotifyMask, &request);
            XSync(client, False);
            runUntil([] { return false; }, std::chrono::milliseconds(20));
        }
        return window;
    }
    bool frontmostBecomes(std::int32_t processID)
    {
        return runUntil(
            [&] {
                const auto front = x11->frontmostApplication();
                return front && front->processIdentifier == processID;
            },
            std::chrono::seconds(5));
    }
};

TEST_F(X11DesktopTest, FrontmostApplicationActivationAndLiveness)
{
    const std::int32_t alpha = startProcess();
    const std::int32_t beta = startProcess();
    openWindow(alpha, "Alpha");
    ASSERT_TRUE(frontmostBecomes(alpha));
    const auto front = x11->frontmostApplication();
    EXPECT_EQ(front->localizedName, u"Alpha"_qs);
    EXPECT_EQ(front->bundleURL, QFileInfo(QStandardPaths::findExecutable(u"sleep"_qs)).canonicalPath());

    openWindow(beta, "Beta");
    ASSERT_TRUE(frontmostBecomes(beta));
    x11->activateApplication(alpha);
    EXPECT_TRUE(frontmostBecomes(alpha));

    EXPECT_TRUE(x11->isRunningApplication(beta));
    EXPECT_FALSE(x11->isRunningApplication(x11->currentProcessID()));
    EXPECT_FALSE(x11->isApplicationActive());
    openWindow(x11->currentProcessID(), "Brindlet");
    ASSERT_TRUE(frontmostBecomes(x11->currentProcessID()));
    EXPECT_TRUE(x11->isApplicationActive());

    EXPECT_TRUE(x11->isProcessAlive(alpha));
    processes.front()->kill();
    processes.front()->waitForFinished();
    EXPECT_FALSE(x11->isProcessAlive(alpha));
}

TEST_F(X11DesktopTest, PointerAndButtons)
{
    XWarpPointer(client, None, DefaultRootWindow(client), 0, 0, 0, 0, 300, 200);
    XSync(client, False);
    EXPECT_EQ(x11->pointerLocation(), QPointF(300, 200));
    for (const auto& [button, bit] : { std::pair { 1u, 1u }, std::pair { 3u, 2u } }) {
        XTestFakeButtonEvent(client, button, True, CurrentTime);
        XSync(client, False);
        EXPECT_EQ(x11->pressedMouseButtons(), bit) << button;
        XTestFakeButtonEvent(client, button, False, CurrentTime);
        XSync(client, False);
        EXPECT_EQ(x11->pressedMouseButtons(), 0u) << button;
    }
}

// The user may still hold Shift from the chord that started the paste: the paste must arrive as
// Ctrl+V, not Ctrl+Shift+V.
TEST_F(X11DesktopTest, PasteChordArrivesAsControlVWhateverModifiersAreHeld)
{
    const std::int32_t editor = startProcess();
    openWindow(editor, "Editor");
    ASSERT_TRUE(frontmostBecomes(editor));
    XTestFakeKeyEvent(client, XKeysymToKeycode(client, XK_Shift_L), True, CurrentTime);
    XSync(client, False);

    const auto chord = x11->makePasteChord();
    ASSERT_TRUE(chord);
    chord->postKeyDown();
    chord->postKeyUp();

    std::optional<XKeyEvent> paste;
    const QDeadlineTimer deadline(5000);
    while (!paste && !deadline.hasExpired()) {
        while (XPending(client) > 0) {
            XEvent event;
            XNextEvent(client, &event);
            if (event.type == KeyPress && event.xkey.keycode == XKeysymToKeycode(client, XK_v))
                paste = event.xkey;
        }
        drainEvents();
    }
    ASSERT_TRUE(paste);
    EXPECT_EQ(paste->state & (ControlMask | ShiftMask | Mod1Mask | Mod4Mask), unsigned(ControlMask));
}

} // namespace
