#pragma once

// Runs brindlet-cli (BRINDLET_CLI_PATH, defined by the test target) while this process keeps
// its event loop turning, so that servers and clipboards in the test answer meanwhile. Every run
// reads its defaults from a folder of the test's own, never from the user's configuration.

#include "support/EventLoop.h"

#include <QByteArray>
#include <QProcess>
#include <QTemporaryDir>

namespace brindlet::test {

struct CliRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

inline QTemporaryDir& cliConfigHome()
{
    static QTemporaryDir dir;
    return dir;
}

inline CliRun runCli(const QStringList& arguments, const QByteArray& input = {})
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), cliConfigHome().path());
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(BRINDLET_CLI_PATH), arguments);
    process.write(input);
    process.closeWriteChannel();
    runUntil([&] { return process.state() == QProcess::NotRunning; }, std::chrono::seconds(20));
    return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput(),
        process.readAllStandardError() };
}

} // namespace brindlet::test
