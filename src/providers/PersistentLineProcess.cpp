#include "PersistentLineProcess.h"

#include "ChildProcesses.h"
#include "ManagedCLIProcess.h"
#include "ProviderError.h"
#include "domain/DescribedError.h"
#include "domain/Utf8.h"

#include <QDir>

namespace brindlet {

PersistentLineProcess::PersistentLineProcess(CLIInvocation invocation)
    : invocation_(std::move(invocation))
    , process_(ChildProcesses::make(invocation_))
{
}

PersistentLineProcess::~PersistentLineProcess()
{
    QObject::disconnect(process_.get(), nullptr, process_.get(), nullptr);
    if (isRunning())
        shutDown();
}

Task<std::shared_ptr<PersistentLineProcess>> PersistentLineProcess::start(CLIInvocation invocation)
{
    if (!QDir().mkpath(invocation.workingDirectory))
        throw PlatformError(QStringLiteral("Could not create the folder %1.").arg(invocation.workingDirectory));
    std::shared_ptr<PersistentLineProcess> self(new PersistentLineProcess(std::move(invocation)));
    QProcess* process = self->process_.get();

    // Each handler holds the object while it runs: a line it delivers may resume a task that
    // drops the last other reference, with more lines still to hand out.
    const std::weak_ptr<PersistentLineProcess> weak = self;
    QObject::connect(process, &QProcess::readyReadStandardOutput, process, [weak] {
        if (const auto alive = weak.lock())
            alive->readStandardOutput();
    });
    QObject::connect(process, &QProcess::readyReadStandardError, process, [weak] {
        const auto alive = weak.lock();
        if (!alive)
            return;
        // Read everything, so a talkative child never blocks; keep only the beginning.
        const QByteArray chunk = alive->process_->readAllStandardError();
        const qsizetype room = stderrLimit - alive->stderrData_.size();
        if (room > 0)
            alive->stderrData_ += chunk.left(room);
    });
    // The reader outlives this object if a client still waits on it; the end of output finishes it.
    std::weak_ptr<AsyncLineReader> reader = self->reader_;
    QObject::connect(process, &QProcess::finished, process, [weak, reader] {
        if (const auto alive = weak.lock()) {
            alive->readStandardOutput();
            if (!alive->stdoutBuffer_.isEmpty()) {
                if (auto text = decodeUtf8(std::exchange(alive->stdoutBuffer_, {})); text && !text->isEmpty())
                    alive->reader_->deliver(*text);
            }
        }
        if (auto waiting = reader.lock())
            waiting->finish();
    });

    Completion<bool> started;
    QObject::connect(process, &QProcess::started, process, [started]() mutable { started.resolve(true); });
    QObject::connect(process, &QProcess::errorOccurred, process, [started](QProcess::ProcessError error) mutable {
        if (error == QProcess::FailedToStart)
            started.resolve(false);
    });
    process->start();
    const bool launched = co_await started.wait();
    if (!launched) {
        QDir(self->invocation_.workingDirectory).removeRecursively();
        self->directoryRemoved_ = true;
        throw ProviderError::unavailable(process->errorString());
    }
    co_return self;
}

void PersistentLineProcess::readStandardOutput()
{
    stdoutBuffer_ += process_->readAllStandardOutput();
    qsizetype newline;
    while ((newline = stdoutBuffer_.indexOf('\n')) >= 0) {
        const QByteArray line = stdoutBuffer_.left(newline);
        stdoutBuffer_.remove(0, newline + 1);
        // Empty and undecodable lines are dropped; a carriage return stays in the line.
        if (auto text = decodeUtf8(line); text && !text->isEmpty())
            reader_->deliver(*text);
    }
}

void PersistentLineProcess::write(const QByteArray& bytes, bool finalInput)
{
    if (!isRunning())
        throw ProviderError::unavailable(failureText());
    if (inputIsClosed_)
        throw ProviderError::unavailable(QStringLiteral("The CLI process is no longer accepting input."));
    if (process_->write(bytes) < 0)
        throw PlatformError(process_->errorString());
    if (finalInput) {
        process_->closeWriteChannel();
        inputIsClosed_ = true;
    }
}

void PersistentLineProcess::writeLine(const QByteArray& json)
{
    write(json + '\n', false);
}

void PersistentLineProcess::writeFinalInput(const QString& text)
{
    write(text.toUtf8(), true);
}

QString PersistentLineProcess::failureText() const
{
    const QString text = decodeUtf8(stderrData_).value_or(QString()).trimmed();
    return text.isEmpty() ? QStringLiteral("The CLI process ended unexpectedly.") : text;
}

void PersistentLineProcess::shutDown()
{
    if (!inputIsClosed_) {
        process_->closeWriteChannel();
        inputIsClosed_ = true;
    }
    if (!isRunning()) {
        if (!directoryRemoved_)
            QDir(invocation_.workingDirectory).removeRecursively();
        directoryRemoved_ = true;
        return;
    }
    // The directory goes with the child, at the latest when it is killed.
    ChildProcesses::terminateThenKill(process_, ManagedCLIProcess::killDelay);
    directoryRemoved_ = true;
}

} // namespace brindlet
