#include "ManagedCLIProcess.h"

#include "ChildProcesses.h"
#include "ProviderError.h"
#include "domain/DescribedError.h"
#include "domain/Utf8.h"
#include "tasks/Completion.h"

#include <QDir>

#include <optional>

namespace brindlet {

namespace {

// Removes a run's working directory in every outcome.
struct DirectoryRemoval {
    QString path;
    ~DirectoryRemoval() { QDir(path).removeRecursively(); }
};

// Undecodable output counts as empty.
QString decodedTrimmed(const QByteArray& bytes)
{
    return decodeUtf8(bytes).value_or(QString()).trimmed();
}

} // namespace

void ManagedCLIProcess::terminate(bool markTimedOut)
{
    if (markTimedOut)
        didTimeOut_ = true;
    ChildProcesses::terminateThenKill(process_, killDelay);
}

Task<QString> ManagedCLIProcess::runToCompletion(CLIInvocation invocation, QString prompt)
{
    co_await checkCancellation();
    if (!QDir().mkpath(invocation.workingDirectory))
        throw PlatformError(QStringLiteral("Could not create the folder %1.").arg(invocation.workingDirectory));
    const DirectoryRemoval removal { invocation.workingDirectory };
    auto terminateOnCancel = co_await onCancellation([this] { terminate(false); });

    auto process = ChildProcesses::make(invocation);
    process_ = process;

    // Both streams are read while the child runs, so it can never block on a full pipe.
    QByteArray output[2];
    std::optional<ProviderError> readerFailure;
    auto drain = [this, process, &output, &readerFailure](QProcess::ProcessChannel channel) {
        process->setReadChannel(channel);
        QByteArray& buffer = output[channel];
        while (process->bytesAvailable() > 0) {
            const QByteArray chunk = process->read(readChunk);
            if (buffer.size() + chunk.size() > outputLimit) {
                readerFailure = ProviderError::outputTooLarge();
                terminate(false);
                return;
            }
            buffer += chunk;
        }
    };
    QObject::connect(
        process.get(), &QProcess::readyReadStandardOutput, process.get(), [drain] { drain(QProcess::StandardOutput); });
    QObject::connect(
        process.get(), &QProcess::readyReadStandardError, process.get(), [drain] { drain(QProcess::StandardError); });

    Completion<bool> started;
    Completion<int> exited;
    QObject::connect(process.get(), &QProcess::started, process.get(), [started]() mutable { started.resolve(true); });
    QObject::connect(
        process.get(), &QProcess::errorOccurred, process.get(), [started](QProcess::ProcessError error) mutable {
            if (error == QProcess::FailedToStart)
                started.resolve(false);
        });
    QObject::connect(
        process.get(), &QProcess::finished, process.get(), [exited](int code, QProcess::ExitStatus status) mutable {
            exited.resolve(status == QProcess::NormalExit ? code : -1);
        });
    struct Disconnect {
        QProcess* process;
        ~Disconnect() { QObject::disconnect(process, nullptr, process, nullptr); }
    } disconnectAtEnd { process.get() };

    process->start();
    const bool launched = co_await started.wait();
    if (!launched) {
        process_.reset();
        throw ProviderError::unavailable(process->errorString());
    }
    const auto timeoutTimer = timerSource().schedule(timeout_, {}, [this] { terminate(true); });
    struct CancelTimer {
        TimerSource::TimerID id;
        ~CancelTimer() { timerSource().cancel(id); }
    } cancelTimerAtEnd { timeoutTimer };

    // The prompt goes on standard input, never as an argument; an empty one closes it at once.
    if (!prompt.isEmpty())
        process->write(prompt.toUtf8());
    process->closeWriteChannel();

    const int exitCode = co_await exited.wait();
    drain(QProcess::StandardOutput);
    drain(QProcess::StandardError);
    process_.reset();

    if (readerFailure)
        throw *readerFailure;
    co_await checkCancellation();
    if (didTimeOut_)
        throw ProviderError::timedOut();
    const QString out = decodedTrimmed(output[QProcess::StandardOutput]);
    const QString err = decodedTrimmed(output[QProcess::StandardError]);
    if (exitCode == 0 && !out.isEmpty())
        co_return out;
    throw ProviderError::unavailable(err.isEmpty() ? QStringLiteral("The CLI is unavailable or not signed in.") : err);
}

} // namespace brindlet
