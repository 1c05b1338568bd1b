#include "Runtime.h"

#include "Completion.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTimer>

#include <map>
#include <unordered_set>

Q_LOGGING_CATEGORY(lcTasks, "com.brindlet.native.Tasks")

namespace brindlet {

void postToMainThread(std::function<void()> fn)
{
    // Without an application object there is no loop left to run it: a worker that finishes
    // during shut-down is simply not heard.
    if (auto* app = QCoreApplication::instance())
        QMetaObject::invokeMethod(app, std::move(fn), Qt::QueuedConnection);
}

// ---- spawn ----

namespace {

// Every spawned task that has not finished, so that shut-down can cancel them all.
std::unordered_set<detail::SpawnState*>& liveTasks()
{
    static std::unordered_set<detail::SpawnState*> tasks;
    return tasks;
}

// A self-destroying root coroutine that owns the spawned task.
struct Detached {
    struct promise_type : detail::CancellablePromise {
        Detached get_return_object() { return Detached { std::coroutine_handle<promise_type>::from_promise(*this) }; }
        std::suspend_always initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() { }
        void unhandled_exception() { std::terminate(); }
    };
    std::coroutine_handle<promise_type> handle;
};

Detached runDetached(Task<void> task, std::shared_ptr<detail::SpawnState> state)
{
    try {
        co_await task;
    } catch (const CancellationError&) {
    } catch (const std::exception& error) {
        qCWarning(lcTasks) << "A task ended with an unhandled error:" << error.what();
    } catch (...) {
        qCWarning(lcTasks) << "A task ended with an unhandled error.";
    }
    state->finished = true;
    liveTasks().erase(state.get());
}

} // namespace

void TaskHandle::cancel() const
{
    if (state_)
        state_->cancellation->cancel();
}

bool TaskHandle::isCancelled() const
{
    return state_ && state_->cancellation->isCancelled();
}

bool TaskHandle::isFinished() const
{
    return state_ && state_->finished;
}

TaskHandle spawn(Task<void> task)
{
    auto state = std::make_shared<detail::SpawnState>();
    auto root = runDetached(std::move(task), state);
    root.handle.promise().cancellation = state->cancellation;
    liveTasks().insert(state.get());
    postToMainThread([handle = root.handle] { handle.resume(); });
    return TaskHandle(state);
}

void cancelAllTasks()
{
    const auto tasks = liveTasks();
    for (detail::SpawnState* task : tasks)
        task->cancellation->cancel();
}

size_t liveTaskCount()
{
    return liveTasks().size();
}

void finishAllTasks(Duration limit)
{
    const auto end = Clock::now() + limit;
    while (!liveTasks().empty() && Clock::now() < end) {
        cancelAllTasks(); // also those that unwinding tasks have just spawned
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

// ---- timers ----

namespace {

class QtTimerSource final : public TimerSource {
public:
    Clock::time_point now() const override { return Clock::now(); }

    TimerID schedule(Duration delay, Duration tolerance, std::function<void()> fire) override
    {
        const TimerID id = nextID_++;
        auto* timer = new QTimer(&owner_);
        timer->setSingleShot(true);
        // A coarse timer may fire up to 5% late; use it only when the caller allows that much.
        timer->setTimerType(
            tolerance * 20 >= delay && tolerance > Duration::zero() ? Qt::CoarseTimer : Qt::PreciseTimer);
        const auto ms = std::chrono::ceil<std::chrono::milliseconds>(std::max(delay, Duration::zero()));
        QObject::connect(timer, &QTimer::timeout, timer, [this, id, fire = std::move(fire)] {
            cancel(id);
            fire();
        });
        timers_[id] = timer;
        timer->start(ms);
        return id;
    }

    void cancel(TimerID id) override
    {
        auto it = timers_.find(id);
        if (it == timers_.end())
            return;
        it->second->stop();
        it->second->deleteLater();
        timers_.erase(it);
    }

private:
    QObject owner_;
    TimerID nextID_ = 1;
    std::map<TimerID, QTimer*> timers_;
};

TimerSource* installedSource = nullptr;

QtTimerSource& realSource()
{
    static QtTimerSource* source = new QtTimerSource; // lives as long as the process
    return *source;
}

} // namespace

TimerSource& timerSource()
{
    return installedSource ? *installedSource : realSource();
}

void setTimerSource(TimerSource* source)
{
    installedSource = source;
}

Task<void> sleepFor(Duration duration)
{
    co_await checkCancellation();
    Completion<bool> elapsed;
    TimerSource& source = timerSource();
    const auto id = source.schedule(duration, Duration::zero(), [elapsed]() mutable { elapsed.resolve(true); });
    try {
        co_await elapsed.wait();
    } catch (...) {
        source.cancel(id);
        throw;
    }
}

RepeatingTimer::RepeatingTimer(Duration interval, Duration tolerance, std::function<void()> tick)
    : interval_(interval)
    , tolerance_(tolerance)
    , tick_(std::move(tick))
    , source_(&timerSource())
{
    arm();
}

RepeatingTimer::~RepeatingTimer()
{
    *alive_ = false;
    source_->cancel(id_);
}

void RepeatingTimer::arm()
{
    id_ = source_->schedule(interval_, tolerance_, [this, alive = alive_] {
        if (!*alive)
            return;
        arm();
        tick_();
    });
}

} // namespace brindlet
