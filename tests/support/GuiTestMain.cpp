// The main of tests that need a GUI application on a real display: the clipboard and guarded
// delivery. Their private desktop (Xvfb, openbox, a session bus with accessibility switched on)
// is made before the application object and ends after it.

#include "platform/linux/AtspiBus.h"
#include "support/PrivateDesktop.h"

#include <QGuiApplication>

#include <gtest/gtest.h>

#include <optional>

using namespace brindlet;
using namespace brindlet::test;

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    std::optional<PrivateDesktop> desktop;
    if (!::testing::GTEST_FLAG(list_tests))
        desktop.emplace(PrivateDesktop::Parts { PrivateDesktop::WindowManager::openbox, PrivateDesktop::Bus::session });
    if (desktop && !desktop->problem().isEmpty()) {
        fprintf(stderr, "%s\n", qPrintable(desktop->problem()));
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", desktop ? "xcb" : "offscreen");
    QGuiApplication app(argc, argv);
    if (desktop)
        AtspiBus().enable(); // before any editor starts: Qt looks only then
    return RUN_ALL_TESTS();
}
