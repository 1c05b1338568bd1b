#pragma once

// The Codex program kept running as a local JSON-RPC server on its standard input and output,
// inside the restricted session, so that a request costs one turn and no process start: one
// server for many requests, and a thread prepared in advance for the next one.

#include "AIProviding.h"
#include "PersistentLineProcess.h"

#include <QJsonObject>
#include <QPointer>

#include <deque>
#include <memory>
#include <optional>

namespace brindlet {

class CodexAppServerClient : public QObject {
public:
    static constexpr std::size_t notificationLimit = 256;

    ~CodexAppServerClient() override;

    Task<QString> generate(QString prompt, Duration timeout, PartialTextHandler onPartialText);
    // Starts the server and prepares a thread, unless a request runs; errors reset the server.
    Task<void> prepare();

    bool isGenerating() const { return isGenerating_; }
    const std::shared_ptr<PersistentLineProcess>& server() const { return process_; }
    const std::optional<QString>& preparedThreadID() const { return preparedThreadID_; }

    static CLIInvocation serverInvocation(const QString& nativeExecutable);

private:
    Task<void> ensureStarted(Duration timeout);
    Task<QString> startThread(Duration timeout);
    Task<QJsonObject> sendRequest(QString method, QJsonObject params, Duration timeout);
    Task<QString> runTurn(QString prompt, Duration timeout, PartialTextHandler onPartialText);
    // The next message for the turn: a notification kept while awaiting a reply, or a new line.
    Task<QJsonObject> nextMessage(std::shared_ptr<PersistentLineProcess> server, Duration timeout);
    void write(const QString& method, const QJsonObject& params, std::optional<qint64> id);
    void keepNotification(QJsonObject notification);
    void resetServer();
    static Task<void> prepareInBackground(QPointer<CodexAppServerClient> client);

    std::shared_ptr<PersistentLineProcess> process_;
    bool initialized_ = false;
    std::optional<QString> preparedThreadID_;
    qint64 nextRequestID_ = 1;
    bool isGenerating_ = false;
    bool isPreparing_ = false; // one preparation at a time: two would each start a thread
    std::deque<QJsonObject> pendingNotifications_;
    std::optional<TaskHandle> preparing_;
};

} // namespace brindlet
