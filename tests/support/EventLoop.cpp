#include "EventLoop.h"

#include "ManualTimerSource.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

namespace brindlet::test {

bool runUntil(const std::function<bool()>& predicate, std::chrono::milliseconds timeout)
{
    QElapsedTimer elapsed;
    elapsed.start();
    while (!predicate()) {
        if (elapsed.elapsed() > timeout.count())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QCoreApplication::sendPostedEvents();
    }
    return true;
}

bool runVirtually(
    ManualTimerSource& clock, const std::function<bool()>& predicate, std::chrono::milliseconds virtualLimit)
{
    const auto end = clock.now() + virtualLimit;
    for (;;) {
        drainEvents();
        if (predicate())
            return true;
        if (clock.now() >= end || !clock.advanceToNextDue())
            return predicate();
    }
}

void drainEvents(int turns)
{
    for (int i = 0; i < turns; ++i) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
}

} // namespace brindlet::test
