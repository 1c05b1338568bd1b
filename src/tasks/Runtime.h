#pragma once

// Starting top-level tasks, timers on a monotonic clock, and hops between threads.

#include "Task.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace brindlet {

using Clock = std::chrono::steady_clock;
using Duration = Clock::duration;

// Runs fn on the main thread's event loop at its next turn. Safe to call from any thread.
void postToMainThread(std::function<void()> fn);

namespace detail {
struct SpawnState {
    std::shared_ptr<CancellationState> cancellation = std::make_shared<CancellationState>();
    bool finished = false;
};
} // namespace detail

// The handle of a spawned task: what the model stores in fields like `generationTask`.
class TaskHandle {
public:
    TaskHandle() = default;
    explicit TaskHandle(std::shared_ptr<detail::SpawnState> state)
        : state_(std::move(state))
    {
    }

    void cancel() const;
    bool isCancelled() const;
    bool isFinished() const;
    bool isValid() const { return bool(state_); }

    friend bool operator==(const TaskHandle& a, const TaskHandle& b) { return a.state_ == b.state_; }

private:
    std::shared_ptr<detail::SpawnState> state_;
};

// Starts a task on the main loop at its next turn. The task owns itself until it finishes;
// a CancellationError that escapes it ends it quietly, any other escaping error is logged.
TaskHandle spawn(Task<void> task);

// Cancels every spawned task that is still running; they unwind on the next turns of the loop.
// For shut-down, and for tests that must not leave tasks behind.
void cancelAllTasks();
size_t liveTaskCount();
// For the end of a program: cancels every task and runs the loop until they have unwound or the
// limit has passed, so that nothing is left half-started.
void finishAllTasks(Duration limit);

// The source of time for sleeps and repeating timers. The real one uses QTimer on the
// monotonic clock; tests install a manual one to step time without waiting.
class TimerSource {
public:
    using TimerID = std::uint64_t;
    virtual ~TimerSource() = default;
    virtual Clock::time_point now() const = 0;
    // Calls fire once on the main thread after delay. tolerance is how late it may fire.
    virtual TimerID schedule(Duration delay, Duration tolerance, std::function<void()> fire) = 0;
    virtual void cancel(TimerID id) = 0;
};

TimerSource& timerSource();
// Installs a source for the whole process; nullptr restores the real one.
void setTimerSource(TimerSource* source);

// Suspends for the duration; cancelling the task ends the wait with CancellationError.
Task<void> sleepFor(Duration duration);

// A repeating timer built on the current TimerSource; stops when destroyed.
class RepeatingTimer {
public:
    RepeatingTimer(Duration interval, Duration tolerance, std::function<void()> tick);
    ~RepeatingTimer();
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

    Duration interval() const { return interval_; }
    Duration tolerance() const { return tolerance_; }

private:
    void arm();
    Duration interval_;
    Duration tolerance_;
    std::function<void()> tick_;
    TimerSource* source_;
    TimerSource::TimerID id_ = 0;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace brindlet
