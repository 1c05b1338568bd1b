#pragma once

#include "AsyncLineReader.h"
#include "CLIInvocation.h"

#include <QProcess>

#include <memory>

namespace brindlet {

// A long-lived child spoken to in lines: JSON objects in, lines out through its reader. The
// first 256 KiB of its standard error are kept to explain its death.
class PersistentLineProcess {
public:
    static constexpr qsizetype stderrLimit = 262'144;

    // Starts the child. Fails with PlatformError (working directory) or unavailable (launch).
    static Task<std::shared_ptr<PersistentLineProcess>> start(CLIInvocation invocation);
    ~PersistentLineProcess();

    AsyncLineReader& reader() { return *reader_; }
    bool isRunning() const { return process_->state() != QProcess::NotRunning; }
    qint64 processID() const { return process_->processId(); }

    // One JSON object, already serialised, as one line.
    void writeLine(const QByteArray& json);
    // The whole request, then end of input.
    void writeFinalInput(const QString& text);
    // The child's own explanation, or a default sentence.
    QString failureText() const;
    // Ends input, asks the child to stop, and kills it a second later if it has not.
    void shutDown();

private:
    explicit PersistentLineProcess(CLIInvocation invocation);
    void readStandardOutput();
    void write(const QByteArray& bytes, bool finalInput);

    CLIInvocation invocation_;
    std::shared_ptr<QProcess> process_;
    std::shared_ptr<AsyncLineReader> reader_ = std::make_shared<AsyncLineReader>();
    QByteArray stdoutBuffer_;
    QByteArray stderrData_;
    bool inputIsClosed_ = false;
    bool directoryRemoved_ = false;
};

} // namespace brindlet
