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

    // Watches this process instead of any earlier one; false when it cannot be watched (it is
    // gone already, or the kernel has no pidfds). `onExit` may end the watch.
    bool watch(std::int32_t processID, std::function<void()> onExit);
    void stop();

private:
    int fd_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace brindlet
