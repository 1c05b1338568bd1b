#include "platform/linux/AtspiBus.h"
#include "support/EventLoop.h"
#include "support/PrivateDesktop.h"

#include <QProcess>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

TEST(AtspiBus, IsSwitchedOnWhenAskedAndFindsAnApplicationByItsProcess)
{
    PrivateDesktop desktop({ PrivateDesktop::WindowManager::none, PrivateDesktop::Bus::session });
    ASSERT_TRUE(desktop.problem().isEmpty()) << desktop.problem().toStdString();
    AtspiBus bus;
    ASSERT_TRUE(bus.isReachable());
    EXPECT_FALSE(bus.isEnabled());
    ASSERT_TRUE(bus.enable());
    EXPECT_TRUE(bus.isEnabled());

    QProcess editor;
    editor.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    editor.start(u"/usr/bin/python3"_qs, { QStringLiteral(GTK_EDITOR_PATH), u"entry"_qs, u"Hello"_qs });
    ASSERT_TRUE(editor.waitForStarted());
    EXPECT_TRUE(runUntil(
        [&] { return bus.applicationOf(std::int32_t(editor.processId())).has_value(); }, std::chrono::seconds(15)));
    EXPECT_FALSE(bus.applicationOf(std::int32_t(::getpid())));
    editor.kill();
    editor.waitForFinished();
}

} // namespace
