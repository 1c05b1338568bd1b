#pragma once

// Tells when another process ends, through a pidfd that becomes readable at its exit.

#include <QSocketNotifier>

#include <cstdint>
#include <functional>
#include <memory>

namespace brindlet {

class ProcessExitWatch {
public:
    ProcessExitWatch() = default;
    ~ProcessExitWatch();
    ProcessExitWatch(const ProcessExitWatch&) = delete;
    ProcessExitWatch& operator=(const ProcessExitWatch&) = delete;

    // Watches this process instead of any earlier one; `onExit` comes on a later turn, also for
    // a process that is gone already, and may end the watch. False when the kernel cannot watch.
    bool watch(std::int32_t processID, std::function<void()> onExit);
    void stop();

private:
    int fd_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
    // Tells a late exit of a process no longer watched from the current one.
    std::uint64_t generation_ = 0;
    QObject guard_;
};

} // namespace brindlet
