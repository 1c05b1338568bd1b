#include "ProcessExitWatch.h"

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
    if (fd_ < 0)
        return false;
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
