#include "support/EventLoop.h"
#include "support/ManualTimerSource.h"
#include "tasks/Completion.h"
#include "tasks/OffMainThread.h"
#include "tasks/Runtime.h"

#include <QThread>

#include "support/Printers.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

Task<int> immediate(int value)
{
    co_return value;
}

Task<long> sumOfImmediates(int count)
{
    long sum = 0;
    for (int i = 0; i < count; ++i)
        sum += co_await immediate(1);
    co_return sum;
}

Task<int> waitFor(Completion<int> completion)
{
    co_return co_await completion.wait();
}

Task<int> throwsAfter(Completion<int> completion)
{
    co_await completion.wait();
    throw std::runtime_error("inner failure");
}

Task<int> nestedThrow(Completion<int> completion)
{
    const int value = co_await throwsAfter(completion);
    co_return value + 1; // never reached
}

Task<int> checksThenReturns()
{
    co_await checkCancellation();
    co_return 7;
}

} // namespace

TEST(TaskRuntime, MillionImmediateAwaitsDoNotGrowTheStack)
{
    // With an 8 MiB stack, a frame per await would overflow long before a million.
    EXPECT_EQ(runTask(sumOfImmediates(1'000'000), 60s), 1'000'000);
}

TEST(TaskRuntime, SpawnStartsOnTheNextTurnNotInline)
{
    QString outcome;
    spawnOutcome(immediate(3), &outcome);
    EXPECT_TRUE(outcome.isEmpty());
    ASSERT_TRUE(runUntil([&] { return !outcome.isEmpty(); }));
    EXPECT_EQ(outcome, u"ok:3"_qs);
}

struct CancelCase : NamedRow {
    // When the cancel comes relative to the task's single await.
    enum When { beforeStart, whileWaiting, afterCompletion } when;
    QString expected;
};

class CancellationTiming : public ::testing::TestWithParam<CancelCase> { };

TEST_P(CancellationTiming, EndsAsExpected)
{
    const CancelCase& c = GetParam();
    Completion<int> completion;
    QString outcome;
    TaskHandle handle = spawnOutcome(waitFor(completion), &outcome);
    switch (c.when) {
    case CancelCase::beforeStart: handle.cancel(); break;
    case CancelCase::whileWaiting:
        ASSERT_TRUE(runUntil([&] { return completion.hasWaiter(); }));
        handle.cancel();
        // The cancelled task must not run inside cancel(): the canceller finishes first.
        EXPECT_TRUE(outcome.isEmpty());
        // A value arriving after the cancel does not win over it.
        completion.resolve(5);
        break;
    case CancelCase::afterCompletion:
        ASSERT_TRUE(runUntil([&] { return completion.hasWaiter(); }));
        completion.resolve(5);
        handle.cancel();
        break;
    }
    ASSERT_TRUE(runUntil([&] { return !outcome.isEmpty(); }));
    EXPECT_EQ(outcome, c.expected);
    EXPECT_TRUE(handle.isCancelled());
    EXPECT_TRUE(runUntil([&] { return handle.isFinished(); }));
}

const QString cancelled = u"The operation was cancelled."_qs;

BRINDLET_ROWS(Runtime, CancellationTiming, CancelCase { "beforeStart", CancelCase::beforeStart, cancelled },
    CancelCase { "whileWaiting", CancelCase::whileWaiting, cancelled },
    CancelCase { "afterCompletion", CancelCase::afterCompletion, u"ok:5"_qs });

TEST(TaskRuntime, CheckCancellationThrowsOnlyWhenCancelled)
{
    QString running, stopped;
    spawnOutcome(checksThenReturns(), &running);
    spawnOutcome(checksThenReturns(), &stopped).cancel();
    ASSERT_TRUE(runUntil([&] { return !running.isEmpty() && !stopped.isEmpty(); }));
    EXPECT_EQ(running, u"ok:7"_qs);
    EXPECT_EQ(stopped, cancelled);
}

TEST(TaskRuntime, ErrorsTravelThroughNestedTasksAfterASuspension)
{
    Completion<int> completion;
    QString outcome;
    spawnOutcome(nestedThrow(completion), &outcome);
    ASSERT_TRUE(runUntil([&] { return completion.hasWaiter(); }));
    completion.resolve(1);
    EXPECT_EQ(outcome, u"inner failure"_qs); // a resolution resumes the waiter directly
}

TEST(TaskRuntime, FailedCompletionRethrowsItsError)
{
    Completion<int> completion;
    completion.fail(std::make_exception_ptr(std::logic_error("bad answer")));
    completion.resolve(3); // the first outcome wins
    EXPECT_THROW(runTask(waitFor(completion)), std::logic_error);
}

TEST(TaskRuntime, CancellationHandlersRunOnceAndOnlyWhileRegistered)
{
    auto state = std::make_shared<CancellationState>();
    int fired = 0, released = 0;
    CancellationHandler kept(state, [&] { ++fired; });
    {
        CancellationHandler dropped(state, [&] { ++released; });
    }
    state->cancel();
    state->cancel();
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(released, 0);
    // Registering on a cancelled state runs at once.
    CancellationHandler late(state, [&] { ++fired; });
    EXPECT_EQ(fired, 2);
}

namespace {
Task<int> sleeper(Duration duration)
{
    co_await sleepFor(duration);
    co_return 1;
}
} // namespace

TEST(TaskRuntime, CancelledSleepEndsAtOnceAndReleasesItsTimer)
{
    ManualTimerSource clock;
    QString outcome;
    TaskHandle handle = spawnOutcome(sleeper(1h), &outcome);
    drainEvents();
    ASSERT_EQ(clock.pendingTimers(), 1u);
    handle.cancel();
    ASSERT_TRUE(runUntil([&] { return outcome == cancelled; }));
    EXPECT_EQ(clock.pendingTimers(), 0u);
}

TEST(TaskRuntime, RepeatingTimerTicksUntilDestroyed)
{
    ManualTimerSource clock;
    int ticks = 0;
    auto timer = std::make_unique<RepeatingTimer>(400ms, 80ms, [&] { ++ticks; });
    EXPECT_EQ(clock.nextTolerance(), 80ms);
    clock.advance(1200ms);
    EXPECT_EQ(ticks, 3);
    timer.reset();
    clock.advance(1200ms);
    EXPECT_EQ(ticks, 3);
}

namespace {
Task<int> threadID(Qt::HANDLE* seen)
{
    co_return co_await runOffMainThread([seen] {
        *seen = QThread::currentThreadId();
        return 42;
    });
}

Task<int> failingOffThread()
{
    co_return co_await runOffMainThread([]() -> int { throw std::runtime_error("worker failed"); });
}
} // namespace

TEST(TaskRuntime, BlockingWorkRunsOffTheMainThreadAndResumesOnIt)
{
    Qt::HANDLE worker = nullptr;
    EXPECT_EQ(runTask(threadID(&worker)), 42);
    EXPECT_NE(worker, QThread::currentThreadId());
    EXPECT_THROW(runTask(failingOffThread()), std::runtime_error);
}

TEST(TaskRuntime, CancellingBlockingWorkEndsTheWaitWithoutWaitingForTheWorker)
{
    // Shared, so that the worker never reads a flag from a stack frame that has gone.
    auto release = std::make_shared<std::atomic<bool>>(false);
    struct Release {
        std::shared_ptr<std::atomic<bool>> flag;
        ~Release() { *flag = true; }
    } releaseAtEnd { release };
    QString outcome;
    TaskHandle handle = spawnOutcome(runOffMainThread([release] {
        while (!*release)
            QThread::msleep(1);
        return 1;
    }),
        &outcome);
    drainEvents();
    handle.cancel();
    EXPECT_TRUE(runUntil([&] { return outcome == cancelled; }));
}
