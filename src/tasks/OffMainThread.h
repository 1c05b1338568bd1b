#pragma once

// Runs a blocking function on a worker thread and resumes the awaiting task on the main thread.
// Cancelling the task ends the wait at once; the function itself runs to its end and its
// result is dropped.

#include "Completion.h"

#include <QThreadPool>

#include <exception>
#include <type_traits>
#include <utility>

namespace brindlet {

namespace detail {
struct Unit { };
template <class R> using ResultOf = std::conditional_t<std::is_void_v<R>, Unit, R>;
} // namespace detail

template <class F, class R = std::invoke_result_t<F>> Task<R> runOffMainThread(F fn)
{
    co_await checkCancellation(); // no blocking work for a task that no longer wants it
    Completion<detail::ResultOf<R>> completion;
    QThreadPool::globalInstance()->start([fn = std::move(fn), completion]() mutable {
        try {
            if constexpr (std::is_void_v<R>) {
                fn();
                postToMainThread([completion]() mutable { completion.resolve(detail::Unit {}); });
            } else {
                auto result = std::make_shared<R>(fn());
                postToMainThread([completion, result]() mutable { completion.resolve(std::move(*result)); });
            }
        } catch (...) {
            auto error = std::current_exception();
            postToMainThread([completion, error]() mutable { completion.fail(error); });
        }
    });
    if constexpr (std::is_void_v<R>)
        co_await completion.wait();
    else
        co_return co_await completion.wait();
}

} // namespace brindlet
