#include "AsyncLineReader.h"

#include "ProviderError.h"

namespace brindlet {

namespace {
const QString endedUnexpectedly = QStringLiteral("The CLI process ended unexpectedly.");
}

Task<QString> AsyncLineReader::next(Duration timeout)
{
    if (!bufferedLines_.empty()) {
        QString line = std::move(bufferedLines_.front());
        bufferedLines_.pop_front();
        co_return line;
    }
    if (isFinished_)
        throw ProviderError::unavailable(endedUnexpectedly);

    const QUuid id = QUuid::createUuid();
    Waiter& waiter = waiters_.emplace_back(Waiter { id, {}, 0 });
    Completion<QString> line = waiter.line;
    waiter.timeout = timerSource().schedule(std::max<Duration>(timeout, minimumTimeout), {}, [this, id] {
        const auto it = std::find_if(waiters_.begin(), waiters_.end(), [&](const Waiter& w) { return w.id == id; });
        if (it == waiters_.end())
            return;
        auto timedOut = it->line;
        waiters_.erase(it);
        timedOut.fail(std::make_exception_ptr(ProviderError::timedOut()));
    });
    try {
        co_return co_await line.wait();
    } catch (...) {
        // A cancelled wait leaves no waiter behind to be served later.
        const auto it = std::find_if(waiters_.begin(), waiters_.end(), [&](const Waiter& w) { return w.id == id; });
        if (it != waiters_.end()) {
            timerSource().cancel(it->timeout);
            waiters_.erase(it);
        }
        throw;
    }
}

void AsyncLineReader::deliver(const QString& line)
{
    if (isFinished_)
        return;
    if (waiters_.empty()) {
        bufferedLines_.push_back(line);
        return;
    }
    Waiter waiter = std::move(waiters_.front());
    waiters_.pop_front();
    timerSource().cancel(waiter.timeout);
    waiter.line.resolve(line);
}

void AsyncLineReader::finish()
{
    if (isFinished_)
        return;
    isFinished_ = true;
    auto waiters = std::move(waiters_);
    waiters_.clear();
    for (Waiter& waiter : waiters) {
        timerSource().cancel(waiter.timeout);
        waiter.line.fail(std::make_exception_ptr(ProviderError::unavailable(endedUnexpectedly)));
    }
}

} // namespace brindlet
