#pragma once

// The way to the accessibility bus: reached through the session bus (org.a11y.Bus), switched on
// and off with org.a11y.Status.IsEnabled, and holding one connection per application. Every call
// has a bounded time-out of its own: an application that hangs must not freeze the program for
// D-Bus's default 25 seconds, and an expired call counts as a failed one. An application whose
// call expired is left alone for a while, so that one capture cannot pay the time-out many times.

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QHash>
#include <QString>
#include <QVariantList>

#include <chrono>
#include <cstdint>
#include <optional>

namespace brindlet {

// An object on the accessibility bus as AT-SPI names it: an application's bus name and a path.
struct AtspiObject {
    QString service;
    QDBusObjectPath path;
};

QDBusArgument& operator<<(QDBusArgument& argument, const AtspiObject& object);
const QDBusArgument& operator>>(const QDBusArgument& argument, AtspiObject& object);

class AtspiBus {
public:
    static constexpr std::chrono::milliseconds callTimeout { 500 };
    static constexpr std::chrono::seconds hungPause { 3 };

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

    // One method call into an application; the answer is an error message when it failed,
    // expired, or the application is taking a pause after an expired call.
    QDBusMessage call(
        const AtspiObject& object, const QString& interface, const QString& method, const QVariantList& arguments = {});
    // A property of an object, unwrapped from its variant; an error message as for call().
    QDBusMessage property(const AtspiObject& object, const QString& interface, const QString& name);
    // How many calls went out to applications, for measurements.
    std::uint64_t callCount() const { return callCount_; }

private:
    std::optional<std::int32_t> processOf(const QString& service);

    QDBusConnection session_;
    QDBusConnection accessibility_;
    QHash<QString, std::chrono::steady_clock::time_point> hungUntil_;
    QHash<std::int32_t, QString> applicationByProcess_;
    std::uint64_t callCount_ = 0;
};

} // namespace brindlet

Q_DECLARE_METATYPE(brindlet::AtspiObject)
