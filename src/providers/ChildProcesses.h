#pragma once

#include "CLIInvocation.h"
#include "tasks/Runtime.h"

#include <QObject>
#include <QProcess>

#include <map>
#include <memory>

namespace brindlet {

// Every agent program runs in a process group of its own, so that stopping it stops whatever it
// forked as well. The registry holds each process from its creation until it has ended, with its
// working directory: when a program ends, the rest of its group is killed and the directory
// removed; at shut-down every group is ended, whoever else still holds it or has let it go.
class ChildProcesses {
public:
    static ChildProcesses& shared();

    // A process set up to run the invocation in a new process group, tracked from now on.
    // It is deleted from the event loop, never inside one of its own signals: a task resumed by
    // a signal may drop the last reference while the emitter still runs.
    static std::shared_ptr<QProcess> make(const CLIInvocation& invocation);

    // Asks the child's group to stop now, and kills it after the delay if the child still runs.
    static void terminateThenKill(const std::shared_ptr<QProcess>& process, Duration delay);

    // Terminates every live group, waits up to grace for them, kills what remains and removes
    // every working directory. Blocks; for the end of the program.
    void endAll(Duration grace);

private:
    struct Child {
        std::shared_ptr<QProcess> process;
        QString workingDirectory;
        qint64 group = 0; // known once it runs
    };
    void ended(QProcess* process);

    QObject context_;
    std::map<QProcess*, Child> groups_;
};

} // namespace brindlet
