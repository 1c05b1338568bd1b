#pragma once

// Mouse or key presses anywhere on the desktop, watched without taking them: XInput 2 hands raw
// events on the root window to every client that asks, also while another client holds a grab,
// and each press still reaches its own target. Scroll wheels are not clicks.

#include <QPoint>
#include <QSocketNotifier>

#include <functional>
#include <memory>

struct _XDisplay; // Xlib's Display, kept out of this header

namespace brindlet {

class X11InputMonitor {
public:
    enum class Kind { click, key };
    struct Press {
        unsigned int code = 0; // the button, or the X key code
        QPoint pointer; // in root-window coordinates
        unsigned int modifierMask = 0; // for a key, the modifiers held at its press
    };

    X11InputMonitor() = default;
    ~X11InputMonitor();
    X11InputMonitor(const X11InputMonitor&) = delete;
    X11InputMonitor& operator=(const X11InputMonitor&) = delete;

    // Calls `onPress` at each press of this kind. Does nothing while watching already; false
    // when the display has no XInput 2.
    bool start(Kind kind, std::function<void(const Press&)> onPress);
    void stop();
    bool isWatching() const { return notifier_ != nullptr; }

private:
    void readEvents();
    std::pair<QPoint, unsigned int> pointerState() const;
    unsigned int modifierMaskOf(unsigned int keyCode) const;

    _XDisplay* display_ = nullptr;
    int opcode_ = 0;
    Kind kind_ = Kind::click;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::function<void(const Press&)> onPress_;
    unsigned int heldModifiers_ = 0;
};

} // namespace brindlet
