#include "providers/ManagedCLIProcess.h"
#include "providers/ProviderError.h"
#include "support/AgentPeers.h"
#include "support/EventLoop.h"
#include "support/Printers.h"

#include <QFileInfo>
#include <QJsonArray>

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

CLIInvocation fakeInvocation(const AgentPeers& peers, QStringList arguments = { u"--print"_qs })
{
    return { peers.bin() + u"/claude"_qs, arguments, temporaryWorkingDirectory(u"Brindlet-"_qs), std::nullopt };
}

QString outcome(ManagedCLIProcess& process, CLIInvocation invocation, const QString& prompt)
{
    return runOutcome(process.runToCompletion(std::move(invocation), prompt), 10s);
}

struct RunCase : NamedRow {
    QStringList script;
    QString expected;
};

class OneShotRun : public ::testing::TestWithParam<RunCase> { };

TEST_P(OneShotRun, ReportsWhatTheDesignSays)
{
    AgentPeers peers;
    peers.script(GetParam().script);
    // Far beyond the wait for the outcome: an over-limit child must be stopped at once, not by
    // the time-out.
    ManagedCLIProcess process(60s);
    const CLIInvocation invocation = fakeInvocation(peers);
    EXPECT_EQ(outcome(process, invocation, u"Fix this"_qs), GetParam().expected);
    EXPECT_FALSE(QFileInfo::exists(invocation.workingDirectory));
    for (const QJsonObject& start : peers.starts())
        EXPECT_TRUE(runUntil([&] { return AgentPeers::isGone(start[u"pid"_qs].toInteger()); }));
}

const QString defaultText = u"The CLI is unavailable or not signed in."_qs;

BRINDLET_ROWS(Managed, OneShotRun,
    RunCase { "success", { u"read-all"_qs, u"out   Fixed this.  "_qs }, u"ok:Fixed this."_qs },
    RunCase { "failureWithOnlyStdout", { u"out some output"_qs, u"exit 1"_qs }, defaultText },
    RunCase { "failureExplained", { u"err Not logged in · Please run /login"_qs, u"exit 1"_qs },
        u"Not logged in · Please run /login"_qs },
    RunCase { "successDespiteStderr", { u"flood-err 200000"_qs, u"out answer"_qs }, u"ok:answer"_qs },
    RunCase { "successButSilent", { u"exit 0"_qs }, defaultText },
    RunCase { "crash", { u"out partial"_qs, u"crash"_qs }, defaultText },
    RunCase { "exactlyTheLimit", { u"flood-out 4194304"_qs }, u"ok:"_qs + QString(4194304, u'x') },
    RunCase { "oneByteOver", { u"flood-out 4194305"_qs, u"hang"_qs }, u"The provider response was too large."_qs },
    RunCase { "overLimitOnStderr", { u"ignore-term"_qs, u"flood-err 4194400"_qs, u"hang"_qs },
        u"The provider response was too large."_qs });

TEST(ManagedRun, PromptGoesOnStandardInputNeverAsAnArgument)
{
    AgentPeers peers;
    peers.script({ u"read-all"_qs, u"out done"_qs });
    ManagedCLIProcess process(10s);
    const CLIInvocation invocation = fakeInvocation(peers, { u"--print"_qs, u"--tools"_qs, u""_qs });
    EXPECT_EQ(outcome(process, invocation, u"secret prompt\nline two"_qs), u"ok:done"_qs);
    const QJsonObject start = peers.starts().value(0);
    EXPECT_EQ(start[u"arguments"_qs].toArray(), (QJsonArray { u"--print"_qs, u"--tools"_qs, u""_qs }));
    EXPECT_TRUE(start[u"cwd"_qs].toString().contains(u"/Brindlet-"_qs));
    EXPECT_EQ(peers.input(start[u"pid"_qs].toInteger()), QByteArray("secret prompt\nline two"));
}

TEST(ManagedRun, TimeOutWinsOverOutputAndKillsAStubbornChild)
{
    AgentPeers peers;
    peers.script({ u"ignore-term"_qs, u"out early words"_qs, u"hang"_qs });
    ManagedCLIProcess process(300ms);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(outcome(process, fakeInvocation(peers), u"x"_qs), u"The provider did not respond within two minutes."_qs);
    // Terminate was ignored: signal 9 came one second later.
    EXPECT_GE(std::chrono::steady_clock::now() - started, 1200ms);
    EXPECT_TRUE(runUntil([&] { return AgentPeers::isGone(peers.starts().value(0)[u"pid"_qs].toInteger()); }));
}

TEST(ManagedRun, CancellationTerminatesTheChildAndRemovesItsFolder)
{
    AgentPeers peers;
    peers.script({ u"hang"_qs });
    ManagedCLIProcess process(60s);
    const CLIInvocation invocation = fakeInvocation(peers);
    QString result;
    TaskHandle handle = spawnOutcome(process.runToCompletion(invocation, u"x"_qs), &result);
    ASSERT_TRUE(runUntil([&] { return !peers.starts().isEmpty(); }));
    handle.cancel();
    ASSERT_TRUE(runUntil([&] { return result == u"The operation was cancelled."_qs; }));
    EXPECT_FALSE(QFileInfo::exists(invocation.workingDirectory));
    EXPECT_TRUE(runUntil([&] { return AgentPeers::isGone(peers.starts().value(0)[u"pid"_qs].toInteger()); }));
}

TEST(ManagedRun, LaunchFailureIsUnavailableWithThePlatformWords)
{
    ManagedCLIProcess process(5s);
    const CLIInvocation invocation { u"/nonexistent/claude"_qs, {}, temporaryWorkingDirectory(u"Brindlet-"_qs), {} };
    const QString error = outcome(process, invocation, u"x"_qs);
    EXPECT_FALSE(error.startsWith(u"ok:"_qs));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(QFileInfo::exists(invocation.workingDirectory));
}

} // namespace
