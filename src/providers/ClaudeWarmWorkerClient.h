#pragma once

#include "AIProviding.h"
#include "PersistentLineProcess.h"

#include <QPointer>

#include <memory>

namespace brindlet {

// Keeps one Claude program started and idle on an open standard input, gives it exactly one
// request, and replaces it: the start-up time is paid before the user asks, not after.
class ClaudeWarmWorkerClient : public QObject {
public:
    struct StreamEvent {
        enum class Kind { delta, final, failure, ignored };
        Kind kind = Kind::ignored;
        QString text;
    };
    static StreamEvent parseLine(const QString& line);
    static CLIInvocation workerInvocation(const QString& executable);

    Task<QString> generate(QString prompt, Duration timeout, PartialTextHandler onPartialText);
    // Starts a worker unless one is up; fails when the program cannot be found or started.
    Task<void> ensureWorker();
    // Warms a worker unless a request runs; errors are dropped.
    Task<void> prepare();

    bool isGenerating() const { return isGenerating_; }
    const std::shared_ptr<PersistentLineProcess>& worker() const { return worker_; }

private:
    Task<QString> runRequest(QString prompt, Duration timeout, PartialTextHandler onPartialText);
    void finishRequest();
    void dropWorker();
    static Task<void> warmInBackground(QPointer<ClaudeWarmWorkerClient> client);

    std::shared_ptr<PersistentLineProcess> worker_;
    bool isGenerating_ = false;
    bool isStarting_ = false;
};

} // namespace brindlet
