#pragma once

// Mouse presses anywhere on the desktop, watched without taking them: XInput 2 hands raw
// button events on the root window to every client that asks, and each click still reaches its
// own target. Scroll wheels are not clicks.

#include <QPoint>
#include <QSocketNotifier>

#include <functional>
#include <memory>

struct _XDisplay; // Xlib's Display, kept out of this header

namespace brindlet {

class X11ClickMonitor {
public:
    X11ClickMonitor() = default;
    ~X11ClickMonitor();
    X11ClickMonitor(const X11ClickMonitor&) = delete;
    X11ClickMonitor& operator=(const X11ClickMonitor&) = delete;

    // Calls `onClick` with the pointer's place in root-window coordinates at each press. Does
    // nothing while watching already; false when the display has no XInput 2.
    bool start(std::function<void(QPoint)> onClick);
    void stop();
    bool isWatching() const { return notifier_ != nullptr; }

private:
    void readEvents();

    _XDisplay* display_ = nullptr;
    int opcode_ = 0;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::function<void(QPoint)> onClick_;
};

} // namespace brindlet
