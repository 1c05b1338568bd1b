#pragma once

// An agent program kept started and idle so that its start-up is paid before the user asks,
// given exactly one request, and replaced at once. Claude, Cursor and Gemini share this shape;
// what is each program's own (its command line, how a request is handed over, what its lines
// mean, its words) is an AgentProtocol.

#include "AIProviding.h"
#include "PersistentLineProcess.h"

#include <QJsonObject>
#include <QPointer>

#include <memory>

namespace brindlet {

// One line of a program's output, as the request's reader understands it.
struct AgentStreamEvent {
    enum class Kind {
        delta, // more text
        final, // the whole answer, in the text
        done, // the answer is what the deltas built
        failure, // the request failed, for the reason in the text
        ignored,
    };
    Kind kind = Kind::ignored;
    QString text;
};

// A line of a program's stream as JSON: an object with a string "type", or nothing to read.
struct TypedLine {
    QJsonObject object;
    QString type;
};
std::optional<TypedLine> typedLine(const QString& line);

// The "result" and "error" lines that Claude and Cursor share: a result is the final text, or a
// failure when is_error is true or its subtype begins with "error"; an error line is a failure.
// Other lines are ignored. program names the program in the default sentences.
AgentStreamEvent resultOrErrorLine(const QJsonObject& object, const QString& program);

class AgentProtocol {
public:
    virtual ~AgentProtocol() = default;
    // The refusal of a second request while one runs.
    virtual QString busyText() const = 0;
    // The command line of a new worker, with whatever files it needs written. May block on the
    // login shell or ask the program itself: it runs as a task.
    virtual Task<CLIInvocation> workerInvocation() = 0;
    virtual void sendRequest(PersistentLineProcess& worker, const QString& prompt) const = 0;
    virtual AgentStreamEvent parseLine(const QString& line) const = 0;
    // Whether what the program wrote on standard error replaces the error in hand.
    virtual bool explainsFailuresFromStandardError() const { return true; }
    // Whether a started program waits for its request; one that does not starts with it.
    virtual bool waitsForItsRequest() const { return true; }
};

class WarmWorkerClient : public QObject {
public:
    explicit WarmWorkerClient(std::unique_ptr<AgentProtocol> protocol);
    ~WarmWorkerClient() override;

    Task<QString> generate(QString prompt, Duration timeout, PartialTextHandler onPartialText);
    // Starts a worker unless one is up; fails when the program cannot be found or started.
    Task<void> ensureWorker();
    // Warms a worker unless a request runs or the program cannot wait; errors are dropped.
    Task<void> prepare();

    bool isGenerating() const { return isGenerating_; }
    const std::shared_ptr<PersistentLineProcess>& worker() const { return worker_; }

private:
    Task<QString> runRequest(QString prompt, Duration timeout, PartialTextHandler onPartialText);
    void finishRequest();
    void dropWorker();
    // Starts the next worker. It holds the client weakly and the protocol strongly, so that a
    // client that goes meanwhile leaves nothing running and nothing dangling.
    static Task<void> warm(QPointer<WarmWorkerClient> client, std::shared_ptr<AgentProtocol> protocol);

    std::shared_ptr<AgentProtocol> protocol_;
    std::shared_ptr<PersistentLineProcess> worker_;
    std::optional<TaskHandle> warming_;
    bool isGenerating_ = false;
    bool isStarting_ = false;
};

} // namespace brindlet
