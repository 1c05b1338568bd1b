#include "ProcessExitWatch.h"

#include <QTimer>

#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

namespace brindlet {

ProcessExitWatch::~ProcessExitWatch()
{
    stop();
}

bool ProcessExitWatch::watch(std::int32_t processID, std::function<void()> onExit)
{
    stop();
    fd_ = int(::syscall(SYS_pidfd_open, processID, 0));
    if (fd_ < 0) {
        if (errno != ESRCH)
            return false;
        // Gone before the watch began: that is an exit too, told on the next turn like any other.
        QTimer::singleShot(0, &guard_, [this, generation = generation_, onExit = std::move(onExit)] {
            if (generation == generation_)
                onExit();
        });
        return true;
    }
    notifier_ = std::make_unique<QSocketNotifier>(fd_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this, onExit = std::move(onExit)] {
        const auto callback = onExit; // the call may end this watch
        stop();
        callback();
    });
    return true;
}

void ProcessExitWatch::stop()
{
    ++generation_;
    // Stopping from within the notification itself: the notifier goes later.
    if (notifier_) {
        notifier_->setEnabled(false);
        notifier_.release()->deleteLater();
    }
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
}

} // namespace brindlet
