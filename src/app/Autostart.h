#pragma once

// "Start Brindlet when I log in": an XDG autostart entry for the running executable, which
// freedesktop.org desktops start at login.

#include <QString>

namespace brindlet {

class Autostart {
public:
    // $XDG_CONFIG_HOME/autostart/brindlet.desktop, or ~/.config/autostart/brindlet.desktop.
    static QString entryPath();

    static bool isEnabled();
    // Writes or removes the entry; false, with `error` set, when the file could not be changed.
    static bool setEnabled(bool enabled, QString* error = nullptr);
};

} // namespace brindlet
