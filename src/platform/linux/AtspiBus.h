#pragma once

// The way to the accessibility bus: reached through the session bus (org.a11y.Bus), switched on
// and off with org.a11y.Status.IsEnabled, and holding one connection per application. Every call
// has a bounded time-out of its own: an application that hangs must not freeze the program for
// D-Bus's default 25 seconds, and an expired call counts as a failed one.

#include <QDBusConnection>
#include <QString>

#include <chrono>
#include <cstdint>
#include <optional>

namespace brindlet {

class AtspiBus {
public:
    static constexpr std::chrono::milliseconds callTimeout { 1500 };

    // Connects to the session bus that DBUS_SESSION_BUS_ADDRESS names, then to the
    // accessibility bus it announces, starting it if need be.
    AtspiBus();
    ~AtspiBus();
    AtspiBus(const AtspiBus&) = delete;
    AtspiBus& operator=(const AtspiBus&) = delete;

    // Whether the accessibility bus can be reached at all.
    bool isReachable() const;
    // Whether assistive technologies are switched on; applications only publish their
    // trees (Qt's only if it was on when they started) while it is.
    bool isEnabled();
    // Switches them on; false when the session bus refused.
    bool enable();

    // The accessibility bus name of the application with this process id, if it has one.
    std::optional<QString> applicationOf(std::int32_t processID);

private:
    QDBusConnection session_;
    QDBusConnection accessibility_;
};

} // namespace brindlet
