#pragma once

// The Linux desktop backend as one piece: X11 for the workspace, the pointer, key events and
// hot keys, AT-SPI for other applications' text, Qt's clipboard. A program that runs a
// QGuiApplication on an X11 display creates one at start-up; problem() says, in a sentence a
// user can act on, what is missing when the desktop cannot serve.

#include "AtspiAccessibility.h"
#include "AtspiBus.h"
#include "QtPasteboard.h"
#include "X11Desktop.h"
#include "platform/SystemLogging.h"

#include <optional>

namespace brindlet {

class LinuxDesktop {
public:
    LinuxDesktop();

    // Before any Qt GUI application exists: whether one can be made on an X11 display, or why not.
    static QString problemBeforeStart();

    // Empty when the desktop can capture and deliver; otherwise why not.
    QString problem() const;

    AtspiBus& bus() { return bus_; }
    AtspiAccessibility& accessibility() { return accessibility_; }
    X11Desktop& x11() { return x11_; }
    QtPasteboard& pasteboard() { return pasteboard_; }
    SystemLogging& log() { return log_; }

private:
    X11Desktop x11_;
    AtspiBus bus_;
    AtspiAccessibility accessibility_;
    QtPasteboard pasteboard_;
    QtSystemLog log_;
};

} // namespace brindlet
