#pragma once

// Lazy coroutines for the main thread. Awaiting a Task runs it as a child that shares the
// parent's cancellation. A child that finishes without suspending hands control back by
// returning false from await_suspend, so long chains of immediate awaits never grow the stack
// (g++ 12 overflows with symmetric transfer at -O0 and under sanitizers).

#include "Cancellation.h"

#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

namespace brindlet {

namespace detail {

// Every promise in this runtime carries the cancellation of the task tree it belongs to.
struct CancellablePromise {
    std::shared_ptr<CancellationState> cancellation;
};

template <class P>
concept HasCancellation = requires(P& p)
{
    {
        p.cancellation
        } -> std::convertible_to<std::shared_ptr<CancellationState>>;
};

struct TaskPromiseBase : CancellablePromise {
    std::coroutine_handle<> continuation;
    bool continuationWaiting = false;
    std::exception_ptr exception;

    std::suspend_always initial_suspend() noexcept { return {}; }

    struct FinalAwaiter {
        bool await_ready() noexcept { return false; }
        template <class P> void await_suspend(std::coroutine_handle<P> self) noexcept
        {
            // Only a parent that actually suspended is resumed here; one that is still inside
            // its await_suspend continues on its own when that returns false.
            auto& promise = self.promise();
            if (promise.continuationWaiting)
                promise.continuation.resume();
        }
        void await_resume() noexcept { }
    };
    FinalAwaiter final_suspend() noexcept { return {}; }
    void unhandled_exception() { exception = std::current_exception(); }
};

template <class T> struct ValuePromise : TaskPromiseBase {
    std::optional<T> value;
    template <class U> void return_value(U&& v) { value.emplace(std::forward<U>(v)); }
    T take()
    {
        if (exception)
            std::rethrow_exception(exception);
        return std::move(*value);
    }
};

template <> struct ValuePromise<void> : TaskPromiseBase {
    void return_void() { }
    void take()
    {
        if (exception)
            std::rethrow_exception(exception);
    }
};

} // namespace detail

template <class T = void> class [[nodiscard]] Task {
public:
    struct promise_type : detail::ValuePromise<T> {
        Task get_return_object() { return Task(std::coroutine_handle<promise_type>::from_promise(*this)); }
    };
    using Handle = std::coroutine_handle<promise_type>;

    Task() = default;
    explicit Task(Handle handle)
        : handle_(handle)
    {
    }
    Task(Task&& other) noexcept
        : handle_(std::exchange(other.handle_, {}))
    {
    }
    Task& operator=(Task&& other) noexcept
    {
        if (this != &other) {
            if (handle_)
                handle_.destroy();
            handle_ = std::exchange(other.handle_, {});
        }
        return *this;
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task()
    {
        if (handle_)
            handle_.destroy();
    }

    bool isValid() const { return bool(handle_); }

    struct Awaiter {
        Handle child;
        bool await_ready() const noexcept { return !child || child.done(); }
        template <detail::HasCancellation P> bool await_suspend(std::coroutine_handle<P> parent)
        {
            auto& promise = child.promise();
            promise.cancellation = parent.promise().cancellation;
            promise.continuation = parent;
            child.resume();
            if (child.done())
                return false;
            promise.continuationWaiting = true;
            return true;
        }
        T await_resume() { return child.promise().take(); }
    };
    Awaiter operator co_await() const& noexcept { return Awaiter { handle_ }; }

private:
    Handle handle_;
};

namespace detail {
// Awaitables that never suspend but need to see the current task's cancellation.
// The state is only looked at between await_suspend and await_resume, while the awaiting
// coroutine's promise holds it: no reference is taken, which a stream's every line would pay for.
struct CancellationProbe {
    const CancellationState* state = nullptr;
    bool await_ready() const noexcept { return false; }
    template <HasCancellation P> bool await_suspend(std::coroutine_handle<P> h) noexcept
    {
        state = h.promise().cancellation.get();
        return false;
    }
};
// The same, for an awaitable whose result keeps the state beyond the await.
struct CancellationReference {
    std::shared_ptr<CancellationState> state;
    bool await_ready() const noexcept { return false; }
    template <HasCancellation P> bool await_suspend(std::coroutine_handle<P> h) noexcept
    {
        state = h.promise().cancellation;
        return false;
    }
};
} // namespace detail

// `co_await checkCancellation();` throws CancellationError when the current task is cancelled.
inline auto checkCancellation()
{
    struct Awaiter : detail::CancellationProbe {
        void await_resume() const
        {
            if (state && state->isCancelled())
                throw CancellationError();
        }
    };
    return Awaiter {};
}

// `co_await isTaskCancelled()` answers without throwing.
inline auto isTaskCancelled()
{
    struct Awaiter : detail::CancellationProbe {
        bool await_resume() const { return state && state->isCancelled(); }
    };
    return Awaiter {};
}

// `auto guard = co_await onCancellation(fn);` runs fn when the current task is cancelled while
// the guard lives (at once if it already is).
template <class F> auto onCancellation(F handler)
{
    struct Awaiter : detail::CancellationReference {
        F handler;
        CancellationHandler await_resume() { return CancellationHandler(state, std::move(handler)); }
    };
    return Awaiter { {}, std::move(handler) };
}

} // namespace brindlet
