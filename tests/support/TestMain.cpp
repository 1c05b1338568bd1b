#include <QCoreApplication>
#include <QThreadPool>

#include <gtest/gtest.h>

#include <cstdlib>

// Every test runs with a Qt application object on the main thread, headless when no display
// is set, so that discovery and runs work on a machine without a screen.
int main(int argc, char** argv)
{
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY"))
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    QThreadPool::globalInstance()->waitForDone();
    return result;
}
