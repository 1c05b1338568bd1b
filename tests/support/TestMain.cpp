#include <QCoreApplication>
#include <QThreadPool>

#include "tasks/Runtime.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// A fatal assertion returns from the test at once, destroying locals that spawned tasks may still
// use. Those tasks are cancelled and unwound first, so that a failing test fails alone instead of
// crashing every test after it.
class UnwindTasksOnFatalFailure : public ::testing::EmptyTestEventListener {
    void OnTestPartResult(const ::testing::TestPartResult& result) override
    {
        if (result.fatally_failed())
            brindlet::finishAllTasks(std::chrono::seconds(5));
    }
};

} // namespace

// Every test runs with a Qt application object on the main thread, headless when no display
// is set, so that discovery and runs work on a machine without a screen.
int main(int argc, char** argv)
{
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY"))
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new UnwindTasksOnFatalFailure);
    const int result = RUN_ALL_TESTS();
    QThreadPool::globalInstance()->waitForDone();
    return result;
}
