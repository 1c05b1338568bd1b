#pragma once

// The parts of the desktop that X11 answers directly: the frontmost application from the window
// manager's _NET_ACTIVE_WINDOW and the window's _NET_WM_PID, activation through the window
// manager, the pointer, and synthetic keys through XTest.

#include "platform/KeyEventPosting.h"
#include "platform/PointerServing.h"
#include "platform/WorkspaceServing.h"

#include <optional>
#include <vector>

struct _XDisplay; // Xlib's Display, kept out of this header

namespace brindlet {

class X11Desktop final : public WorkspaceServing, public PointerServing, public KeyEventPosting {
public:
    // Connects to the display named by DISPLAY; isConnected() says whether that worked.
    X11Desktop();
    ~X11Desktop() override;
    X11Desktop(const X11Desktop&) = delete;
    X11Desktop& operator=(const X11Desktop&) = delete;

    bool isConnected() const { return display_ != nullptr; }

    // WorkspaceServing
    std::optional<RunningApplication> frontmostApplication() override;
    std::int32_t currentProcessID() override;
    bool isApplicationActive() override;
    bool fileExists(const QString& path) override;
    void openAccessibilitySettings() override;
    bool isProcessAlive(std::int32_t processID) override;
    bool isRunningApplication(std::int32_t processID) override;
    void activateApplication(std::int32_t processID) override;
    // Gives the keyboard to the topmost window of another program: Brindlet put its windows away.
    void activateTopmostOtherApplication();

    // PointerServing
    std::optional<QPointF> pointerLocation() override;
    std::uint64_t pressedMouseButtons() override;

    // KeyEventPosting: Ctrl+V, after releasing whatever modifiers the user still holds.
    std::unique_ptr<KeyChord> makePasteChord() override;

private:
    struct PointerState {
        QPointF location;
        unsigned int buttons = 0; // X's key-and-button mask
    };
    std::optional<PointerState> queryPointer();
    std::optional<unsigned long> activeWindow();
    std::optional<std::int32_t> processOf(unsigned long window);
    std::vector<unsigned long> clientWindows(const char* listName = "_NET_CLIENT_LIST");
    void activateWindow(unsigned long window);
    std::optional<unsigned long> windowProperty(unsigned long window, const char* name, unsigned long type);

    _XDisplay* display_ = nullptr;
};

} // namespace brindlet
