#pragma once

#include "CLIInvocation.h"
#include "tasks/Runtime.h"
#include "tasks/Task.h"

#include <QProcess>

#include <memory>

namespace brindlet {

// Runs an agent program once to its end: the prompt on standard input, a time-out that
// terminates and then kills, and at most 4 MiB on each output stream. One object, one run.
class ManagedCLIProcess {
public:
    static constexpr qint64 readChunk = 65'536;
    static constexpr qint64 outputLimit = 4'194'304;
    static constexpr auto killDelay = std::chrono::seconds(1);

    explicit ManagedCLIProcess(Duration timeout)
        : timeout_(timeout)
    {
    }

    // The trimmed standard output. Fails with ProviderError, CancellationError or PlatformError.
    Task<QString> runToCompletion(CLIInvocation invocation, QString prompt);

    // Asks the child to stop, and kills it a second later if it has not.
    void terminate(bool markTimedOut);

    // The running child's process id, or 0.
    qint64 processID() const { return process_ ? process_->processId() : 0; }

private:
    Duration timeout_;
    std::shared_ptr<QProcess> process_;
    bool didTimeOut_ = false;
};

} // namespace brindlet
