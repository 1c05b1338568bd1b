#pragma once

#include "tasks/Completion.h"
#include "tasks/Runtime.h"

#include <QString>
#include <QUuid>

#include <deque>
#include <list>
#include <memory>

namespace brindlet {

// Hands each line of a child's output to whoever awaits one, first come first served, each
// wait with its own time-out. Lines that nobody awaits yet are kept in order.
class AsyncLineReader {
public:
    static constexpr auto minimumTimeout = std::chrono::milliseconds(100);

    // The next line. Fails with ProviderError::timedOut, unavailable at the end of the stream,
    // or CancellationError.
    Task<QString> next(Duration timeout);

    void deliver(const QString& line);
    // The stream has ended: every wait, present and future, learns it (after buffered lines).
    void finish();
    bool isFinished() const { return isFinished_; }

private:
    struct Waiter {
        QUuid id;
        Completion<QString> line;
        TimerSource::TimerID timeout = 0;
    };
    std::deque<QString> bufferedLines_;
    std::list<Waiter> waiters_;
    bool isFinished_ = false;
};

} // namespace brindlet
