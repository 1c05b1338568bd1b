#include "AtspiBus.h"

#include <QDBusMetaType>
#include <QDBusReply>
#include <QDBusVariant>
#include <QUuid>

namespace brindlet {

namespace {

const QString a11yService = QStringLiteral("org.a11y.Bus");
const QString a11yPath = QStringLiteral("/org/a11y/bus");
const QString statusInterface = QStringLiteral("org.a11y.Status");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString noReply = QStringLiteral("org.freedesktop.DBus.Error.NoReply");

// A name of our own for each connection, so that two objects never share one.
QString connectionName(const char* what)
{
    return QStringLiteral("brindlet-") + QLatin1String(what) + QLatin1Char('-')
        + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

QDBusMessage blockingCall(const QDBusConnection& bus, const QDBusMessage& message)
{
    return bus.call(message, QDBus::Block, int(AtspiBus::callTimeout.count()));
}

} // namespace

QDBusArgument& operator<<(QDBusArgument& argument, const AtspiObject& object)
{
    argument.beginStructure();
    argument << object.service << object.path;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, AtspiObject& object)
{
    argument.beginStructure();
    argument >> object.service >> object.path;
    argument.endStructure();
    return argument;
}

AtspiBus::AtspiBus()
    : session_(QDBusConnection::connectToBus(
        QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")), connectionName("session")))
    , accessibility_(QStringLiteral("unconnected"))
{
    qDBusRegisterMetaType<AtspiObject>();
    qDBusRegisterMetaType<QList<AtspiObject>>();
    if (!session_.isConnected())
        return;
    const QDBusReply<QString> address = blockingCall(
        session_, QDBusMessage::createMethodCall(a11yService, a11yPath, a11yService, QStringLiteral("GetAddress")));
    if (address.isValid())
        accessibility_ = QDBusConnection::connectToBus(address.value(), connectionName("accessibility"));
}

AtspiBus::~AtspiBus()
{
    QDBusConnection::disconnectFromBus(accessibility_.name());
    QDBusConnection::disconnectFromBus(session_.name());
}

bool AtspiBus::isReachable() const
{
    return accessibility_.isConnected();
}

bool AtspiBus::isEnabled()
{
    QDBusMessage get
        = QDBusMessage::createMethodCall(a11yService, a11yPath, propertiesInterface, QStringLiteral("Get"));
    get << statusInterface << QStringLiteral("IsEnabled");
    const QDBusReply<QDBusVariant> reply = blockingCall(session_, get);
    return reply.isValid() && reply.value().variant().toBool();
}

bool AtspiBus::enable()
{
    QDBusMessage set
        = QDBusMessage::createMethodCall(a11yService, a11yPath, propertiesInterface, QStringLiteral("Set"));
    set << statusInterface << QStringLiteral("IsEnabled") << QVariant::fromValue(QDBusVariant(true));
    return blockingCall(session_, set).type() == QDBusMessage::ReplyMessage;
}

std::optional<std::int32_t> AtspiBus::processOf(const QString& service)
{
    QDBusMessage owner = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("GetConnectionUnixProcessID"));
    owner << service;
    const QDBusReply<uint> pid = blockingCall(accessibility_, owner);
    return pid.isValid() ? std::optional(std::int32_t(pid.value())) : std::nullopt;
}

std::optional<QString> AtspiBus::applicationOf(std::int32_t processID)
{
    if (!isReachable())
        return std::nullopt;
    // Bus names are never reused, so a remembered one is right as long as it still has its owner.
    if (const auto known = applicationByProcess_.constFind(processID); known != applicationByProcess_.cend()) {
        if (processOf(*known) == processID)
            return *known;
        applicationByProcess_.erase(known);
    }
    const AtspiObject registry { QStringLiteral("org.a11y.atspi.Registry"),
        QDBusObjectPath(QStringLiteral("/org/a11y/atspi/accessible/root")) };
    const QDBusMessage children
        = call(registry, QStringLiteral("org.a11y.atspi.Accessible"), QStringLiteral("GetChildren"));
    if (children.type() != QDBusMessage::ReplyMessage || children.arguments().isEmpty())
        return std::nullopt;
    const auto applications = qdbus_cast<QList<AtspiObject>>(children.arguments().constFirst());
    for (const AtspiObject& application : applications) {
        if (processOf(application.service) == processID) {
            applicationByProcess_.insert(processID, application.service);
            return application.service;
        }
    }
    return std::nullopt;
}

QDBusMessage AtspiBus::call(
    const AtspiObject& object, const QString& interface, const QString& method, const QVariantList& arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(object.service, object.path.path(), interface, method);
    const auto now = std::chrono::steady_clock::now();
    if (const auto hung = hungUntil_.constFind(object.service); hung != hungUntil_.cend()) {
        if (now < *hung)
            return message.createErrorReply(noReply, QStringLiteral("The application is not answering."));
        hungUntil_.erase(hung);
    }
    message.setArguments(arguments);
    ++callCount_;
    const QDBusMessage reply = blockingCall(accessibility_, message);
    if (reply.type() == QDBusMessage::ErrorMessage && reply.errorName() == noReply)
        hungUntil_.insert(object.service, now + hungPause);
    return reply;
}

QDBusMessage AtspiBus::property(const AtspiObject& object, const QString& interface, const QString& name)
{
    QDBusMessage reply = call(object, propertiesInterface, QStringLiteral("Get"), { interface, name });
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
        reply.setArguments({ reply.arguments().constFirst().value<QDBusVariant>().variant() });
    return reply;
}

} // namespace brindlet
