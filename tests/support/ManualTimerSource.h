#pragma once

#include "tasks/Runtime.h"

#include <map>
#include <utility>

namespace brindlet::test {

// Time that moves only when a test says so. Installs itself for its lifetime.
class ManualTimerSource final : public TimerSource {
public:
    ManualTimerSource() { setTimerSource(this); }
    ~ManualTimerSource() override { setTimerSource(nullptr); }

    Clock::time_point now() const override { return now_; }

    TimerID schedule(Duration delay, Duration tolerance, std::function<void()> fire) override
    {
        const TimerID id = nextID_++;
        timers_.emplace(id, Timer { now_ + delay, tolerance, std::move(fire) });
        return id;
    }

    void cancel(TimerID id) override { timers_.erase(id); }

    // Moves time forward, firing every timer that falls due, in order of due time.
    void advance(Duration by)
    {
        const auto target = now_ + by;
        for (;;) {
            auto next = timers_.end();
            for (auto it = timers_.begin(); it != timers_.end(); ++it) {
                if (it->second.due <= target && (next == timers_.end() || it->second.due < next->second.due))
                    next = it;
            }
            if (next == timers_.end())
                break;
            now_ = std::max(now_, next->second.due);
            auto fire = std::move(next->second.fire);
            timers_.erase(next);
            fire();
        }
        now_ = target;
    }

    // Jumps to the next timer that falls due and fires it; false when none is pending.
    bool advanceToNextDue()
    {
        if (timers_.empty())
            return false;
        auto next = timers_.begin();
        for (auto it = timers_.begin(); it != timers_.end(); ++it) {
            if (it->second.due < next->second.due)
                next = it;
        }
        advance(std::max(next->second.due - now_, Duration::zero()));
        return true;
    }

    size_t pendingTimers() const { return timers_.size(); }
    // The tolerance of the one pending timer that falls due first.
    Duration nextTolerance() const
    {
        const Timer* first = nullptr;
        for (const auto& [id, timer] : timers_) {
            if (!first || timer.due < first->due)
                first = &timer;
        }
        return first ? first->tolerance : Duration::zero();
    }

private:
    struct Timer {
        Clock::time_point due;
        Duration tolerance;
        std::function<void()> fire;
    };
    Clock::time_point now_ {};
    TimerID nextID_ = 1;
    std::map<TimerID, Timer> timers_;
};

} // namespace brindlet::test
