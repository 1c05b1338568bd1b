#pragma once

// A one-shot result that a coroutine can await, resolved later by event-driven code (a timer,
// a signal from a reply or a process, a worker thread's result posted back). Copies share one
// state. Cancelling the waiting task resumes it with CancellationError on the next turn of the
// event loop, never inside the code that cancelled, so that the canceller has finished its own
// bookkeeping before the cancelled task sees anything.

#include "Runtime.h"
#include "Task.h"

#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

namespace brindlet {

template <class T> class Completion {
    struct State {
        std::optional<T> value;
        std::exception_ptr error;
        bool done = false;
        bool cancelled = false;
        std::coroutine_handle<> waiter;
        std::shared_ptr<CancellationState> waiterCancellation;
        CancellationHandler cancelRegistration;

        // A cancelled waiter is only ever resumed from the event loop, and only once.
        void resumeCancelledLater(const std::shared_ptr<State>& self)
        {
            if (cancelled)
                return;
            cancelled = true;
            postToMainThread([self] {
                if (auto pending = std::exchange(self->waiter, {}))
                    pending.resume();
            });
        }
    };

public:
    Completion()
        : state_(std::make_shared<State>())
    {
    }

    bool isDone() const { return state_->done; }
    bool hasWaiter() const { return bool(state_->waiter); }

    // The first of resolve and fail wins; later calls are ignored.
    void resolve(T value)
    {
        if (state_->done)
            return;
        state_->value.emplace(std::move(value));
        finish();
    }
    void fail(std::exception_ptr error)
    {
        if (state_->done)
            return;
        state_->error = std::move(error);
        finish();
    }

    struct Awaiter {
        std::shared_ptr<State> state;
        bool await_ready() const noexcept { return state->done; }
        template <detail::HasCancellation P> bool await_suspend(std::coroutine_handle<P> h)
        {
            state->waiter = h;
            state->waiterCancellation = h.promise().cancellation;
            std::weak_ptr<State> weak = state;
            state->cancelRegistration = CancellationHandler(h.promise().cancellation, [weak] {
                if (auto s = weak.lock())
                    s->resumeCancelledLater(s);
            });
            return true;
        }
        T await_resume()
        {
            state->cancelRegistration.reset();
            if (state->cancelled)
                throw CancellationError();
            if (state->error)
                std::rethrow_exception(state->error);
            return std::move(*state->value);
        }
    };

    Awaiter wait() const { return Awaiter { state_ }; }

private:
    void finish()
    {
        state_->done = true;
        if (!state_->waiter || state_->cancelled)
            return;
        // Resolved from inside a cancellation (a handler that aborts a reply, say): the task
        // must not run on until the canceller is done.
        if (state_->waiterCancellation && state_->waiterCancellation->isCancelled()) {
            state_->resumeCancelledLater(state_);
            return;
        }
        auto keepAlive = state_;
        std::exchange(keepAlive->waiter, {}).resume();
    }

    std::shared_ptr<State> state_;
};

} // namespace brindlet
