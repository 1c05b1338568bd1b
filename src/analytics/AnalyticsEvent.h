#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>
#include <QVariantMap>

#include <optional>

namespace brindlet {

enum class AnalyticsEventType {
    firstLaunch,
    appLaunched,
    dailyActive,
    onboardingCompleted,
    quickCommandOpened,
    quickFixStarted,
    quickFixCompleted,
    workspaceOpened,
    generationStarted,
    generationCompleted,
    generationFailed,
    generationCancelled,
    deliveryCompleted,
    deliveryFailed,
    presetCreated,
};

// "GENERATION_STARTED" and its like.
QString wireName(AnalyticsEventType type);
std::optional<AnalyticsEventType> analyticsEventType(const QString& wireName);

// Every value comes from the closed vocabularies; an unset one is left out of the wire form.
struct AnalyticsDimensions {
    std::optional<QString> provider;
    std::optional<QString> action;
    std::optional<QString> trigger;
    std::optional<QString> surface;
    std::optional<QString> delivery;
    std::optional<QString> outcome;
    std::optional<QString> durationBucket;
    friend bool operator==(const AnalyticsDimensions&, const AnalyticsDimensions&) = default;
};

// One queued event. `sessionID` is the session that queued it, which a restart does not change.
struct AnalyticsEvent {
    QUuid id;
    QUuid sessionID;
    AnalyticsEventType type;
    QDateTime occurredAt;
    AnalyticsDimensions dimensions;
};

// The queue as stored: a JSON array, oldest first, `occurredAt` in seconds since 2001-01-01 UTC.
QByteArray encodeAnalyticsQueue(const QList<AnalyticsEvent>& events);
// nullopt when the blob is not such an array, or any record in it is damaged.
std::optional<QList<AnalyticsEvent>> decodeAnalyticsQueue(const QByteArray& blob);

// What the build and the machine say of themselves; nothing that identifies either.
struct AnalyticsAppIdentity {
    QString version;
    QString build;
    QString osMajor;
    QString architecture;

    // From the application's information ("CFBundleShortVersionString", "CFBundleVersion") and
    // the running system.
    static AnalyticsAppIdentity current(const QVariantMap& information);
};

// The wire form of one event; all strings, UUIDs in lower case.
struct AnalyticsEventRequest {
    QString eventId;
    QString installId;
    QString sessionId;
    QString eventType;
    QString occurredAt; // ISO 8601 in UTC with milliseconds and "Z"
    QString appVersion;
    QString appBuild;
    QString platform;
    QString osMajor;
    QString architecture;
    AnalyticsDimensions dimensions;

    static AnalyticsEventRequest from(
        const AnalyticsEvent& event, const QString& installID, const AnalyticsAppIdentity& identity);
};

// {"events":[…]} with each event's keys in wire order and "dimensions" always present.
QByteArray encodeAnalyticsBody(const QList<AnalyticsEventRequest>& requests);

// Lower-case UUID text without braces.
QString uuidText(const QUuid& uuid);

} // namespace brindlet
