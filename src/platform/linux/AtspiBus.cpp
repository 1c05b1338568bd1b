#include "AtspiBus.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QUuid>

namespace brindlet {

namespace {

const QString a11yService = QStringLiteral("org.a11y.Bus");
const QString a11yPath = QStringLiteral("/org/a11y/bus");
const QString statusInterface = QStringLiteral("org.a11y.Status");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

// A name of our own for each connection, so that two objects never share one.
QString connectionName(const char* what)
{
    return QStringLiteral("brindlet-") + QLatin1String(what) + QLatin1Char('-')
        + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

QDBusMessage call(const QDBusConnection& bus, QDBusMessage message)
{
    return bus.call(message, QDBus::Block, int(AtspiBus::callTimeout.count()));
}

// An object reference as AT-SPI sends it: a bus name and a path.
struct ObjectReference {
    QString service;
    QDBusObjectPath path;
};

const QDBusArgument& operator>>(const QDBusArgument& argument, ObjectReference& reference)
{
    argument.beginStructure();
    argument >> reference.service >> reference.path;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const ObjectReference& reference)
{
    argument.beginStructure();
    argument << reference.service << reference.path;
    argument.endStructure();
    return argument;
}

} // namespace

} // namespace brindlet

Q_DECLARE_METATYPE(brindlet::ObjectReference)

namespace brindlet {

AtspiBus::AtspiBus()
    : session_(QDBusConnection::connectToBus(
        QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")), connectionName("session")))
    , accessibility_(QStringLiteral("unconnected"))
{
    qDBusRegisterMetaType<ObjectReference>();
    qDBusRegisterMetaType<QList<ObjectReference>>();
    if (!session_.isConnected())
        return;
    const QDBusReply<QString> address = call(
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
    const QDBusReply<QDBusVariant> reply = call(session_, get);
    return reply.isValid() && reply.value().variant().toBool();
}

bool AtspiBus::enable()
{
    QDBusMessage set
        = QDBusMessage::createMethodCall(a11yService, a11yPath, propertiesInterface, QStringLiteral("Set"));
    set << statusInterface << QStringLiteral("IsEnabled") << QVariant::fromValue(QDBusVariant(true));
    return call(session_, set).type() == QDBusMessage::ReplyMessage;
}

std::optional<QString> AtspiBus::applicationOf(std::int32_t processID)
{
    if (!isReachable())
        return std::nullopt;
    const QDBusMessage children = call(accessibility_,
        QDBusMessage::createMethodCall(QStringLiteral("org.a11y.atspi.Registry"),
            QStringLiteral("/org/a11y/atspi/accessible/root"), QStringLiteral("org.a11y.atspi.Accessible"),
            QStringLiteral("GetChildren")));
    if (children.type() != QDBusMessage::ReplyMessage || children.arguments().isEmpty())
        return std::nullopt;
    const auto applications = qdbus_cast<QList<ObjectReference>>(children.arguments().constFirst());
    for (const ObjectReference& application : applications) {
        QDBusMessage owner = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
            QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
            QStringLiteral("GetConnectionUnixProcessID"));
        owner << application.service;
        const QDBusReply<uint> pid = call(accessibility_, owner);
        if (pid.isValid() && std::int32_t(pid.value()) == processID)
            return application.service;
    }
    return std::nullopt;
}

} // namespace brindlet
