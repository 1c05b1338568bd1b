#pragma once

#include "domain/DescribedError.h"
#include "tasks/Runtime.h"
#include "tasks/Task.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>

namespace brindlet::test {

// Processes events until the predicate holds or the time runs out; returns the predicate.
bool runUntil(const std::function<bool()>& predicate, std::chrono::milliseconds timeout = std::chrono::seconds(30));

class ManualTimerSource;
// A task that has nothing to do: what a handler returns when it only records.
inline Task<void> finishedTask()
{
    co_return;
}

// Runs the loop in virtual time: whenever nothing is left to do, the clock jumps to the next
// timer. Flows with seconds of waits finish at once, in the order real time would give.
bool runVirtually(ManualTimerSource& clock, const std::function<bool()>& predicate,
    std::chrono::milliseconds virtualLimit = std::chrono::seconds(60));

// Processes the events already queued (and those they queue), a few turns deep.
void drainEvents(int turns = 5);

namespace detail {
template <class T> struct Outcome {
    std::optional<T> value;
    std::exception_ptr error;
    bool done = false;
};
template <> struct Outcome<void> {
    std::exception_ptr error;
    bool done = false;
};

// Holds its outcome by shared ownership: a task that outlives its caller writes nowhere stale.
template <class T> Task<void> storeOutcome(Task<T> task, std::shared_ptr<Outcome<T>> outcome)
{
    try {
        if constexpr (std::is_void_v<T>)
            co_await task;
        else
            outcome->value.emplace(co_await task);
    } catch (...) {
        outcome->error = std::current_exception();
    }
    outcome->done = true;
}
} // namespace detail

// Runs a task to its end on the event loop and returns its value or rethrows its error. A task
// that does not finish in time is cancelled and unwound before this throws, since it may hold
// references to the caller's locals.
template <class T> T runTask(Task<T> task, std::chrono::milliseconds timeout = std::chrono::seconds(30))
{
    auto outcome = std::make_shared<detail::Outcome<T>>();
    const TaskHandle handle = spawn(detail::storeOutcome(std::move(task), outcome));
    if (!runUntil([&] { return outcome->done; }, timeout)) {
        handle.cancel();
        runUntil([&] { return outcome->done; }, std::chrono::seconds(5));
        throw std::runtime_error("task did not finish in time");
    }
    if (outcome->error)
        std::rethrow_exception(outcome->error);
    if constexpr (!std::is_void_v<T>)
        return std::move(*outcome->value);
}

// What a task came to: "ok:" and its text or number ("ok" for other values), or the words of
// its error.
template <class T> Task<QString> outcomeOf(Task<T> task)
{
    try {
        if constexpr (std::is_same_v<T, QString>) {
            co_return QStringLiteral("ok:") + co_await task;
        } else if constexpr (std::is_arithmetic_v<T>) {
            co_return QStringLiteral("ok:") + QString::number(co_await task);
        } else {
            co_await task;
            co_return QStringLiteral("ok");
        }
    } catch (...) {
        co_return describe(std::current_exception());
    }
}
// The same, run to its end.
template <class T> QString runOutcome(Task<T> task, std::chrono::milliseconds timeout = std::chrono::seconds(30))
{
    return runTask(outcomeOf(std::move(task)), timeout);
}
// The words of what a call threw, or "ok" when it returned.
inline QString outcomeOfCall(const std::function<void()>& call)
{
    try {
        call();
        return QStringLiteral("ok");
    } catch (...) {
        return describe(std::current_exception());
    }
}
// The same as runOutcome, for a task that runs on while the test acts: the words land in `into` at its end.
template <class T> TaskHandle spawnOutcome(Task<T> task, QString* into)
{
    return spawn([](Task<QString> outcome, QString* target) -> Task<void> { *target = co_await outcome; }(
                                                                outcomeOf(std::move(task)), into));
}

} // namespace brindlet::test
