#include "AnalyticsEvent.h"

#include "domain/JsonWriter.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSysInfo>

#include <array>
#include <cmath>

namespace brindlet {

namespace {

// 2001-01-01 00:00:00 UTC, the stored queue's epoch.
constexpr qint64 referenceEpochMs = 978'307'200'000;

constexpr std::array allTypes = { AnalyticsEventType::firstLaunch, AnalyticsEventType::appLaunched,
    AnalyticsEventType::dailyActive, AnalyticsEventType::onboardingCompleted, AnalyticsEventType::quickCommandOpened,
    AnalyticsEventType::quickFixStarted, AnalyticsEventType::quickFixCompleted, AnalyticsEventType::workspaceOpened,
    AnalyticsEventType::generationStarted, AnalyticsEventType::generationCompleted,
    AnalyticsEventType::generationFailed, AnalyticsEventType::generationCancelled,
    AnalyticsEventType::deliveryCompleted, AnalyticsEventType::deliveryFailed, AnalyticsEventType::presetCreated };

using DimensionMember = std::optional<QString> AnalyticsDimensions::*;
constexpr std::pair<const char*, DimensionMember> dimensionKeys[] = {
    { "provider", &AnalyticsDimensions::provider },
    { "action", &AnalyticsDimensions::action },
    { "trigger", &AnalyticsDimensions::trigger },
    { "surface", &AnalyticsDimensions::surface },
    { "delivery", &AnalyticsDimensions::delivery },
    { "outcome", &AnalyticsDimensions::outcome },
    { "durationBucket", &AnalyticsDimensions::durationBucket },
};

void writeDimensions(JsonWriter& json, const AnalyticsDimensions& dimensions)
{
    json.beginObject();
    for (const auto& [name, member] : dimensionKeys) {
        if (const auto& word = dimensions.*member)
            json.key(name).string(*word);
    }
    json.endObject();
}

std::optional<AnalyticsDimensions> readDimensions(const QJsonValue& value)
{
    if (!value.isObject())
        return std::nullopt;
    AnalyticsDimensions dimensions;
    const QJsonObject object = value.toObject();
    for (const auto& [name, member] : dimensionKeys) {
        const QJsonValue word = object.value(QLatin1String(name));
        if (word.isString())
            dimensions.*member = word.toString();
        else if (!word.isUndefined())
            return std::nullopt;
    }
    return dimensions;
}

std::optional<AnalyticsEvent> readEvent(const QJsonValue& value)
{
    const QJsonObject object = value.toObject();
    const QUuid id = QUuid::fromString(object.value(u"id").toString());
    const QUuid session = QUuid::fromString(object.value(u"sessionID").toString());
    const auto type = analyticsEventType(object.value(u"type").toString());
    const QJsonValue seconds = object.value(u"occurredAt");
    const auto dimensions = readDimensions(object.value(u"dimensions"));
    if (id.isNull() || session.isNull() || !type || !seconds.isDouble() || !std::isfinite(seconds.toDouble())
        || !dimensions)
        return std::nullopt;
    const auto ms = qint64(std::llround(seconds.toDouble() * 1000)) + referenceEpochMs;
    return AnalyticsEvent { id, session, *type, QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC), *dimensions };
}

} // namespace

QString wireName(AnalyticsEventType type)
{
    switch (type) {
    case AnalyticsEventType::firstLaunch: return QStringLiteral("FIRST_LAUNCH");
    case AnalyticsEventType::appLaunched: return QStringLiteral("APP_LAUNCHED");
    case AnalyticsEventType::dailyActive: return QStringLiteral("DAILY_ACTIVE");
    case AnalyticsEventType::onboardingCompleted: return QStringLiteral("ONBOARDING_COMPLETED");
    case AnalyticsEventType::quickCommandOpened: return QStringLiteral("QUICK_COMMAND_OPENED");
    case AnalyticsEventType::quickFixStarted: return QStringLiteral("QUICK_FIX_STARTED");
    case AnalyticsEventType::quickFixCompleted: return QStringLiteral("QUICK_FIX_COMPLETED");
    case AnalyticsEventType::workspaceOpened: return QStringLiteral("WORKSPACE_OPENED");
    case AnalyticsEventType::generationStarted: return QStringLiteral("GENERATION_STARTED");
    case AnalyticsEventType::generationCompleted: return QStringLiteral("GENERATION_COMPLETED");
    case AnalyticsEventType::generationFailed: return QStringLiteral("GENERATION_FAILED");
    case AnalyticsEventType::generationCancelled: return QStringLiteral("GENERATION_CANCELLED");
    case AnalyticsEventType::deliveryCompleted: return QStringLiteral("DELIVERY_COMPLETED");
    case AnalyticsEventType::deliveryFailed: return QStringLiteral("DELIVERY_FAILED");
    case AnalyticsEventType::presetCreated: return QStringLiteral("PRESET_CREATED");
    }
    return {};
}

std::optional<AnalyticsEventType> analyticsEventType(const QString& name)
{
    for (const AnalyticsEventType type : allTypes) {
        if (wireName(type) == name)
            return type;
    }
    return std::nullopt;
}

QString uuidText(const QUuid& uuid)
{
    return uuid.toString(QUuid::WithoutBraces).toLower();
}

QByteArray encodeAnalyticsQueue(const QList<AnalyticsEvent>& events)
{
    QByteArray out = "[";
    for (const AnalyticsEvent& event : events) {
        if (&event != &events.front())
            out += ',';
        JsonWriter json;
        json.beginObject();
        json.key("id").string(uuidText(event.id));
        json.key("sessionID").string(uuidText(event.sessionID));
        json.key("type").string(wireName(event.type));
        json.key("occurredAt").number(double(event.occurredAt.toMSecsSinceEpoch() - referenceEpochMs) / 1000);
        json.key("dimensions");
        writeDimensions(json, event.dimensions);
        json.endObject();
        out += json.take();
    }
    return out + ']';
}

std::optional<QList<AnalyticsEvent>> decodeAnalyticsQueue(const QByteArray& blob)
{
    const QJsonDocument document = QJsonDocument::fromJson(blob);
    if (!document.isArray())
        return std::nullopt;
    QList<AnalyticsEvent> events;
    for (const QJsonValue& value : document.array()) {
        auto event = readEvent(value);
        if (!event)
            return std::nullopt;
        events.append(std::move(*event));
    }
    return events;
}

AnalyticsAppIdentity AnalyticsAppIdentity::current(const QVariantMap& information)
{
    const auto text = [&](const char* key, const char* absent) {
        const QVariant value = information.value(QLatin1String(key));
        return value.typeId() == QMetaType::QString ? value.toString() : QString::fromLatin1(absent);
    };
    return { text("CFBundleShortVersionString", "0.0.0"), text("CFBundleVersion", "0"),
        QSysInfo::productVersion().section(u'.', 0, 0), QSysInfo::buildCpuArchitecture() };
}

AnalyticsEventRequest AnalyticsEventRequest::from(
    const AnalyticsEvent& event, const QString& installID, const AnalyticsAppIdentity& identity)
{
    // The platform names this desktop rather than pretending to be the Mac build.
    return { uuidText(event.id), installID, uuidText(event.sessionID), wireName(event.type),
        event.occurredAt.toUTC().toString(Qt::ISODateWithMs), identity.version, identity.build, QStringLiteral("linux"),
        identity.osMajor, identity.architecture, event.dimensions };
}

QByteArray encodeAnalyticsBody(const QList<AnalyticsEventRequest>& requests)
{
    QByteArray out = R"({"events":[)";
    for (qsizetype i = 0; i < requests.size(); ++i) {
        const AnalyticsEventRequest& request = requests[i];
        if (i > 0)
            out += ',';
        JsonWriter event;
        event.beginObject();
        event.key("eventId").string(request.eventId);
        event.key("installId").string(request.installId);
        event.key("sessionId").string(request.sessionId);
        event.key("eventType").string(request.eventType);
        event.key("occurredAt").string(request.occurredAt);
        event.key("appVersion").string(request.appVersion);
        event.key("appBuild").string(request.appBuild);
        event.key("platform").string(request.platform);
        event.key("osMajor").string(request.osMajor);
        event.key("architecture").string(request.architecture);
        event.key("dimensions");
        writeDimensions(event, request.dimensions);
        event.endObject();
        out += event.take();
    }
    return out + "]}";
}

} // namespace brindlet
