#include "providers/AsyncLineReader.h"
#include "providers/PersistentLineProcess.h"
#include "providers/ProviderError.h"
#include "support/AgentPeers.h"
#include "support/EventLoop.h"
#include "support/ManualTimerSource.h"
#include "support/Printers.h"

#include <QFileInfo>

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

TEST(AsyncLineReader, ServesWaitersInOrderThenBufferedLinesThenTheEnd)
{
    AsyncLineReader reader;
    QString first, second;
    spawnOutcome(reader.next(10s), &first);
    spawnOutcome(reader.next(10s), &second);
    drainEvents();
    reader.deliver(u"one"_qs);
    reader.deliver(u"two"_qs);
    reader.deliver(u"three"_qs);
    reader.finish();
    EXPECT_EQ(first, u"ok:one"_qs);
    EXPECT_EQ(second, u"ok:two"_qs);
    QString third, fourth;
    EXPECT_NO_THROW(third = runTask(reader.next(1s)));
    EXPECT_EQ(third, u"three"_qs); // buffered lines outlive the end of the stream
    fourth = runOutcome(reader.next(1s));
    EXPECT_EQ(fourth, u"The CLI process ended unexpectedly."_qs);
}

TEST(AsyncLineReader, TimeOutsAreRaisedToATenthOfASecond)
{
    ManualTimerSource clock;
    AsyncLineReader reader;
    for (Duration requested : { Duration(0ms), Duration(-5s) }) {
        QString result;
        spawnOutcome(reader.next(requested), &result);
        drainEvents();
        clock.advance(99ms);
        drainEvents();
        EXPECT_TRUE(result.isEmpty());
        clock.advance(1ms);
        drainEvents();
        EXPECT_EQ(result, u"The provider did not respond within two minutes."_qs);
    }
    reader.deliver(u"late"_qs); // nobody waits any more: kept for the next one
    EXPECT_EQ(runTask(reader.next(1s)), u"late"_qs);
}

TEST(AsyncLineReader, ACancelledWaitIsNeverServed)
{
    AsyncLineReader reader;
    QString cancelled, served;
    auto handle = spawnOutcome(reader.next(10s), &cancelled);
    drainEvents();
    handle.cancel();
    ASSERT_TRUE(runUntil([&] { return !cancelled.isEmpty(); }));
    spawnOutcome(reader.next(10s), &served);
    drainEvents();
    reader.deliver(u"only"_qs);
    EXPECT_EQ(served, u"ok:only"_qs);
}

class LineProcess : public ::testing::Test {
protected:
    AgentPeers peers;
    std::shared_ptr<PersistentLineProcess> start()
    {
        return runTask(PersistentLineProcess::start(
            { peers.bin() + u"/claude"_qs, {}, temporaryWorkingDirectory(u"Brindlet-Test-"_qs), std::nullopt }));
    }
    QStringList drain(PersistentLineProcess& process)
    {
        QStringList lines;
        for (;;) {
            const QString line = runOutcome(process.reader().next(5s));
            if (!line.startsWith(u"ok:"_qs))
                return lines << line;
            lines << line.mid(3);
        }
    }
};

TEST_F(LineProcess, SplitsLinesAsItsChildWritesThem)
{
    // An empty line, a carriage return kept, an undecodable line dropped, a last line unterminated.
    peers.script({ u"out {\"a\":1}"_qs, u"out "_qs, u"raw with return"_qs, u"hex 0d 0a ff fe 0a"_qs, u"raw last"_qs });
    auto process = start();
    EXPECT_EQ(drain(*process),
        (QStringList { u"{\"a\":1}"_qs, u"with return\r"_qs, u"last"_qs, u"The CLI process ended unexpectedly."_qs }));
}

TEST_F(LineProcess, KeepsTheBeginningOfALongStandardErrorAndTheChildRunsOn)
{
    peers.script({ u"flood-err 1048576"_qs, u"out still alive"_qs, u"read-line"_qs });
    auto process = start();
    EXPECT_EQ(runTask(process->reader().next(5s)), u"still alive"_qs);
    EXPECT_EQ(process->failureText().size(), PersistentLineProcess::stderrLimit);
    EXPECT_TRUE(process->isRunning());
    process->writeFinalInput(u"bye"_qs);
    EXPECT_EQ(outcomeOfCall([&] { process->writeLine("{}"); }), u"The CLI process is no longer accepting input."_qs);
}

TEST_F(LineProcess, ShutDownKillsAChildThatIgnoresEverythingAndRemovesItsFolder)
{
    peers.script({ u"ignore-term"_qs, u"out ready"_qs, u"hang"_qs });
    auto process = start();
    EXPECT_EQ(runTask(process->reader().next(5s)), u"ready"_qs);
    const qint64 pid = process->processID();
    const QString folder = QFileInfo(peers.starts().value(0)[u"cwd"_qs].toString()).absoluteFilePath();
    EXPECT_TRUE(QFileInfo::exists(folder));
    const auto before = std::chrono::steady_clock::now();
    process->shutDown();
    EXPECT_TRUE(runUntil([&] { return AgentPeers::isGone(pid); }, 5s));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 900ms);
    EXPECT_TRUE(runUntil([&] { return !QFileInfo::exists(folder); }, 2s));
}

TEST_F(LineProcess, ADeadChildExplainsItselfThroughStandardError)
{
    peers.script({ u"err model not found: opus-9"_qs, u"exit 1"_qs });
    auto process = start();
    ASSERT_TRUE(runUntil([&] { return !process->isRunning(); }));
    EXPECT_EQ(process->failureText(), u"model not found: opus-9"_qs);
    EXPECT_EQ(outcomeOfCall([&] { process->writeLine("{}"); }), u"model not found: opus-9"_qs);
}

} // namespace
