#pragma once

#include "tasks/Runtime.h"

#include <algorithm>
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
        for (auto next = firstDue(); next != timers_.end() && next->second.due <= target; next = firstDue()) {
            now_ = std::max(now_, next->second.due);
            const auto fire = next->second.fire;
            timers_.erase(next);
            fire();
        }
        now_ = target;
    }

    // Jumps to the next timer that falls due and fires it; false when none is pending.
    bool advanceToNextDue()
    {
        const auto next = firstDue();
        if (next == timers_.end())
            return false;
        advance(std::max(next->second.due - now_, Duration::zero()));
        return true;
    }

    size_t pendingTimers() const { return timers_.size(); }
    // The tolerance of the one pending timer that falls due first.
    Duration nextTolerance() const
    {
        const auto next = firstDue();
        return next == timers_.end() ? Duration::zero() : next->second.tolerance;
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

    // The pending timer that falls due first (the earliest scheduled among equals).
    std::map<TimerID, Timer>::const_iterator firstDue() const
    {
        return std::min_element(
            timers_.begin(), timers_.end(), [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
    }
};

} // namespace brindlet::test
