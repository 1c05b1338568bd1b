#include "ChildProcesses.h"

#include <QDir>

#include <cerrno>
#include <csignal>
#include <unistd.h>
#include <vector>

namespace brindlet {

namespace {

// A group that has already gone answers ESRCH, which is what we want anyway. A child that has not
// made its group yet (between fork and exec) is reached directly.
void signalGroup(qint64 group, int signal)
{
    if (group > 0 && ::kill(-pid_t(group), signal) != 0 && errno == ESRCH)
        ::kill(pid_t(group), signal);
}

} // namespace

ChildProcesses& ChildProcesses::shared()
{
    static ChildProcesses registry;
    return registry;
}

std::shared_ptr<QProcess> ChildProcesses::make(const CLIInvocation& invocation)
{
    std::shared_ptr<QProcess> process(new QProcess, [](QProcess* dying) { dying->deleteLater(); });
    process->setProgram(invocation.executable);
    process->setArguments(invocation.arguments);
    process->setWorkingDirectory(invocation.workingDirectory);
    if (invocation.environment)
        process->setProcessEnvironment(*invocation.environment);
    process->setChildProcessModifier([] { ::setpgid(0, 0); });

    ChildProcesses& registry = shared();
    QProcess* key = process.get();
    registry.groups_[key] = { process, invocation.workingDirectory };
    QObject::connect(key, &QProcess::started, &registry.context_, [&registry, key] {
        if (const auto found = registry.groups_.find(key); found != registry.groups_.end())
            found->second.group = key->processId();
    });
    QObject::connect(key, &QProcess::finished, &registry.context_, [&registry, key] { registry.ended(key); });
    QObject::connect(key, &QProcess::errorOccurred, &registry.context_, [&registry, key](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            registry.ended(key);
    });
    return process;
}

void ChildProcesses::terminateThenKill(const std::shared_ptr<QProcess>& process, Duration delay)
{
    if (!process || process->state() == QProcess::NotRunning)
        return;
    const qint64 group = process->processId();
    signalGroup(group, SIGTERM);
    timerSource().schedule(delay, {}, [process, group] {
        if (process->state() != QProcess::NotRunning)
            signalGroup(group, SIGKILL);
    });
}

void ChildProcesses::ended(QProcess* process)
{
    const auto found = groups_.find(process);
    if (found == groups_.end())
        return;
    // Whatever the program forked goes with it.
    signalGroup(found->second.group, SIGKILL);
    if (!found->second.workingDirectory.isEmpty())
        QDir(found->second.workingDirectory).removeRecursively();
    groups_.erase(found); // may drop the last reference: the object is deleted from the event loop
}

void ChildProcesses::endAll(Duration grace)
{
    auto live = [this] {
        std::vector<std::shared_ptr<QProcess>> processes;
        for (const auto& [key, child] : groups_)
            processes.push_back(child.process);
        return processes;
    };
    for (auto& [key, child] : groups_) {
        if (key->processId() > 0)
            child.group = key->processId(); // one that has not reported its start yet
        signalGroup(child.group, SIGTERM);
    }
    const auto end = Clock::now() + grace;
    for (const auto& process : live()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        if (process->state() != QProcess::NotRunning)
            process->waitForFinished(int(std::max<qint64>(left.count(), 1)));
    }
    for (const auto& process : live()) {
        signalGroup(process->processId(), SIGKILL);
        if (process->state() != QProcess::NotRunning)
            process->waitForFinished(1000);
        ended(process.get()); // one that never ran still has its folder
    }
}

} // namespace brindlet
