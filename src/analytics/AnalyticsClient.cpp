#include "AnalyticsClient.h"

#include "platform/SystemLogging.h"
#include "settings/DefaultsStoring.h"
#include "tasks/Cancellation.h"

#include <QSet>

namespace brindlet {

namespace {

const QString pendingKey = QStringLiteral("analytics.pendingEvents");
const QString installIDKey = QStringLiteral("analytics.installID");
const QString firstLaunchKey = QStringLiteral("analytics.firstLaunchRecorded");
const QString activeDayKey = QStringLiteral("analytics.activeDay");

// Only deliberate use counts towards a day of activity: not a launch, a failure or a cancellation.
bool marksActivity(AnalyticsEventType type)
{
    switch (type) {
    case AnalyticsEventType::quickCommandOpened:
    case AnalyticsEventType::quickFixStarted:
    case AnalyticsEventType::workspaceOpened:
    case AnalyticsEventType::generationStarted:
    case AnalyticsEventType::deliveryCompleted:
    case AnalyticsEventType::presetCreated: return true;
    default: return false;
    }
}

} // namespace

AnalyticsClient::AnalyticsClient(DefaultsStoring& defaults, std::unique_ptr<AnalyticsTransporting> transport,
    AnalyticsAppIdentity identity, Now now, SystemLogging* log)
    : defaults_(defaults)
    , transport_(std::move(transport))
    , identity_(std::move(identity))
    , now_(std::move(now))
    , log_(log)
{
    // A blob that does not decode is left in place until the queue is next written.
    if (const auto blob = defaults_.dataForKey(pendingKey)) {
        if (auto events = decodeAnalyticsQueue(*blob))
            pending_ = std::move(*events);
    }
}

AnalyticsClient::~AnalyticsClient()
{
    cancelRetry();
}

Task<void> AnalyticsClient::start(bool enabled)
{
    return begin(enabled, true);
}

Task<void> AnalyticsClient::setEnabled(bool value)
{
    if (value == enabled_)
        co_return;
    cancelRetry();
    // After an off and on this is a new anonymous installation, with a first launch of its own.
    co_await begin(value, false);
}

Task<void> AnalyticsClient::begin(bool enabled, bool prune)
{
    enabled_ = enabled;
    if (!enabled) {
        clearAll();
        co_return;
    }
    if (prune)
        prunePending();
    enqueueLaunch();
    commitStaged();
    co_await flush();
}

Task<void> AnalyticsClient::record(AnalyticsEventType type, AnalyticsDimensions dimensions)
{
    if (!enabled_)
        co_return;
    if (marksActivity(type))
        markDailyActive();
    enqueue(type, std::move(dimensions));
    commitStaged();
    co_await flush();
}

void AnalyticsClient::enqueueLaunch()
{
    if (booleanValue(defaults_.objectForKey(firstLaunchKey)) != true) {
        enqueue(AnalyticsEventType::firstLaunch);
        stage(firstLaunchKey, DefaultsValue(true));
    }
    enqueue(AnalyticsEventType::appLaunched);
}

void AnalyticsClient::markDailyActive()
{
    // The day is the UTC day, whatever the user's zone.
    const QDate today = now_().toUTC().date();
    const QString day = QString::asprintf("%04d-%02d-%02d", today.year(), today.month(), today.day());
    if (defaults_.stringForKey(activeDayKey) == day)
        return;
    stage(activeDayKey, DefaultsValue(day));
    enqueue(AnalyticsEventType::dailyActive);
}

void AnalyticsClient::enqueue(AnalyticsEventType type, AnalyticsDimensions dimensions)
{
    pending_.append({ QUuid::createUuid(), sessionID_, type, now_(), std::move(dimensions) });
    if (pending_.size() > pendingCap)
        pending_.remove(0, pending_.size() - pendingCap);
    persistPending();
}

void AnalyticsClient::stage(const QString& key, std::optional<DefaultsValue> value)
{
    staged_.insert(key, std::move(value));
}

void AnalyticsClient::commitStaged()
{
    if (queueChanged_) // encoded once, however many times it changed
        stage(pendingKey,
            pending_.isEmpty() ? std::nullopt : std::optional(DefaultsValue(encodeAnalyticsQueue(pending_))));
    queueChanged_ = false;
    if (staged_.isEmpty())
        return;
    QList<DefaultsChange> changes;
    for (auto it = staged_.begin(); it != staged_.end(); ++it)
        changes.append({ it.key(), it.value() });
    staged_.clear();
    defaults_.apply(changes);
}

void AnalyticsClient::persistPending()
{
    queueChanged_ = true;
}

void AnalyticsClient::prunePending()
{
    const QDateTime cutoff = now_().addSecs(-ageLimitSeconds);
    // An unchanged queue is not written again: every caller writes it next anyway, or it is
    // already stored as it stands.
    if (pending_.removeIf([&](const AnalyticsEvent& event) { return event.occurredAt < cutoff; }) > 0)
        persistPending();
}

QString AnalyticsClient::installID()
{
    if (const auto stored = defaults_.stringForKey(installIDKey)) {
        if (const QUuid uuid = QUuid::fromString(*stored); !uuid.isNull())
            return uuidText(uuid);
    }
    const QString made = uuidText(QUuid::createUuid());
    stage(installIDKey, DefaultsValue(made));
    commitStaged();
    return made;
}

void AnalyticsClient::clearAll()
{
    pending_.clear();
    for (const QString& key : { pendingKey, installIDKey, firstLaunchKey, activeDayKey })
        stage(key, std::nullopt);
    commitStaged();
}

Task<void> AnalyticsClient::flush()
{
    if (!enabled_ || !transport_ || isFlushing_ || pending_.isEmpty())
        co_return;
    isFlushing_ = true;
    prunePending();
    while (!pending_.isEmpty()) {
        const QString install = installID();
        QList<AnalyticsEventRequest> batch;
        QSet<QUuid> sent;
        for (const AnalyticsEvent& event : pending_.first(std::min(batchSize, pending_.size()))) {
            batch.append(AnalyticsEventRequest::from(event, install, identity_));
            sent.insert(event.id);
        }
        commitStaged();
        bool accepted = true;
        try {
            // Events recorded during the wait queue up behind this batch.
            co_await transport_->send(std::move(batch));
        } catch (const CancellationError&) {
            isFlushing_ = false;
            throw;
        } catch (...) {
            accepted = false;
        }
        if (!accepted) {
            // The whole batch stays queued and goes again with the same event ids.
            if (log_)
                log_->log(SystemLogging::Level::debug, QStringLiteral("Analytics"),
                    QStringLiteral("Anonymous analytics delivery deferred"));
            scheduleRetry();
            isFlushing_ = false;
            co_return;
        }
        // By id, not by position: during the wait the cap may have dropped events from the front,
        // or an opt-out and opt-in may have replaced the queue.
        pending_.removeIf([&](const AnalyticsEvent& event) { return sent.contains(event.id); });
        persistPending();
    }
    commitStaged();
    cancelRetry();
    retryDelay_ = firstRetryDelay;
    isFlushing_ = false;
}

void AnalyticsClient::scheduleRetry()
{
    if (retryTask_ || !enabled_)
        return;
    const std::chrono::seconds wait = retryDelay_;
    retryDelay_ = std::min(retryDelay_ * 2, longestRetryDelay);
    retryTask_ = spawn(retryAfter(self_, wait));
}

void AnalyticsClient::cancelRetry()
{
    if (retryTask_)
        retryTask_->cancel();
    retryTask_.reset();
}

Task<void> AnalyticsClient::retryAfter(std::weak_ptr<AnalyticsClient*> client, std::chrono::seconds wait)
{
    co_await sleepFor(wait);
    const auto alive = client.lock();
    if (!alive)
        co_return;
    AnalyticsClient* self = *alive;
    self->retryTask_.reset();
    co_await self->flush();
}

} // namespace brindlet
