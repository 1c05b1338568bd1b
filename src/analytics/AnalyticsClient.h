#pragma once

// The anonymous usage events: a small durable queue in the defaults store, delivered in the
// background in batches, retried with a growing delay, and forgotten entirely on opt-out. An
// event carries a type, a time, random identifiers and words from closed vocabularies; no text.

#include "AnalyticsTracking.h"
#include "AnalyticsTransporting.h"
#include "tasks/Runtime.h"

#include "settings/DefaultsStoring.h"

#include <QDateTime>
#include <QMap>

#include <chrono>
#include <functional>
#include <memory>

namespace brindlet {

class SystemLogging;

class AnalyticsClient final : public AnalyticsTracking {
public:
    static constexpr qsizetype pendingCap = 200;
    static constexpr qsizetype batchSize = 50;
    static constexpr qint64 ageLimitSeconds = 2'592'000;
    static constexpr std::chrono::seconds firstRetryDelay { 30 };
    static constexpr std::chrono::seconds longestRetryDelay { 3600 };

    using Now = std::function<QDateTime()>;

    // Without a transport, events are kept (up to the cap and the age limit) and never sent.
    AnalyticsClient(DefaultsStoring& defaults, std::unique_ptr<AnalyticsTransporting> transport,
        AnalyticsAppIdentity identity, Now now = &QDateTime::currentDateTimeUtc, SystemLogging* log = nullptr);
    ~AnalyticsClient() override;

    Task<void> start(bool enabled) override;
    Task<void> setEnabled(bool value) override;
    Task<void> record(AnalyticsEventType type, AnalyticsDimensions dimensions) override;
    // Sends the queue to its end or to the first failure, which schedules a retry.
    Task<void> flush();

    const QList<AnalyticsEvent>& pending() const { return pending_; }
    bool isFlushing() const { return isFlushing_; }
    bool isRetryScheduled() const { return retryTask_.has_value(); }
    std::chrono::seconds retryDelay() const { return retryDelay_; }
    // The stored identifier in lower case, made and stored on first need.
    QString installID();

private:
    // Switches on or off; on, queues the launch events and delivers. A start also prunes.
    Task<void> begin(bool enabled, bool prune);
    void enqueue(AnalyticsEventType type, AnalyticsDimensions dimensions = {});
    void enqueueLaunch();
    void markDailyActive();
    // Changes to the store are staged and written together, once per operation and before each
    // wait: the store rewrites its whole file, on the main thread, at every write.
    void stage(const QString& key, std::optional<DefaultsValue> value);
    void commitStaged();
    void persistPending();
    void prunePending();
    void clearAll();
    void scheduleRetry();
    void cancelRetry();
    static Task<void> retryAfter(std::weak_ptr<AnalyticsClient*> client, std::chrono::seconds wait);

    DefaultsStoring& defaults_;
    std::unique_ptr<AnalyticsTransporting> transport_;
    AnalyticsAppIdentity identity_;
    Now now_;
    SystemLogging* log_;
    const QUuid sessionID_ = QUuid::createUuid();
    bool enabled_ = false;
    QList<AnalyticsEvent> pending_;
    bool isFlushing_ = false;
    std::optional<TaskHandle> retryTask_;
    std::chrono::seconds retryDelay_ = firstRetryDelay;
    // What the retry task holds instead of the client, which may go first.
    QMap<QString, std::optional<DefaultsValue>> staged_;
    bool queueChanged_ = false;
    std::shared_ptr<AnalyticsClient*> self_ = std::make_shared<AnalyticsClient*>(this);
};

} // namespace brindlet
