#include "EventLoop.h"

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

void drainEvents(int turns)
{
    for (int i = 0; i < turns; ++i) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
}

} // namespace brindlet::test
