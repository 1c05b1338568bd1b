#include "CodexAppServerClient.h"

#include "CLIExecutableResolver.h"
#include "ProviderError.h"
#include "tasks/OffMainThread.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

namespace brindlet {

namespace {

using namespace std::chrono_literals;

const QString notRunning = QStringLiteral("The Codex app server is not running.");
const QString baseInstructions = QStringLiteral(
    "You are Brindlet's text transformation engine. Follow the user's request and return only the requested final "
    "text. Do not call tools, run commands, inspect files, or add commentary.");

// A line as the server writes it: skipped (nullopt) when it is not an object; a line that is
// not JSON at all fails the call.
std::optional<QJsonObject> parseMessage(const QString& line)
{
    QJsonParseError error {};
    const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError)
        throw ProviderError::unavailable(error.errorString());
    if (!document.isObject())
        return std::nullopt;
    return document.object();
}

// The message of an error notification: where the design puts it, or where the real server does.
QString errorMessage(const QJsonObject& params)
{
    const QJsonValue message = params.value(u"message");
    if (message.isString())
        return message.toString();
    const QJsonValue nested = params.value(u"error").toObject().value(u"message");
    return nested.isString() ? nested.toString() : QStringLiteral("Codex reported an error.");
}

} // namespace

CodexAppServerClient::~CodexAppServerClient()
{
    if (preparing_)
        preparing_->cancel();
    resetServer();
}

CLIInvocation CodexAppServerClient::serverInvocation(const QString& nativeExecutable)
{
    return { sandboxExecutable(),
        { QStringLiteral("-p"), restrictedProfile(nativeExecutable), nativeExecutable, QStringLiteral("app-server"),
            QStringLiteral("--stdio") },
        temporaryWorkingDirectory(QStringLiteral("Brindlet-CodexServer-")), std::nullopt };
}

void CodexAppServerClient::resetServer()
{
    if (process_)
        process_->shutDown();
    process_.reset();
    initialized_ = false;
    preparedThreadID_.reset();
    pendingNotifications_.clear();
}

void CodexAppServerClient::write(const QString& method, const QJsonObject& params, std::optional<qint64> id)
{
    if (!process_)
        throw ProviderError::unavailable(notRunning);
    QJsonObject message { { QStringLiteral("method"), method }, { QStringLiteral("params"), params } };
    if (id)
        message.insert(QStringLiteral("id"), *id);
    process_->writeLine(QJsonDocument(message).toJson(QJsonDocument::Compact));
}

void CodexAppServerClient::keepNotification(QJsonObject notification)
{
    pendingNotifications_.push_back(std::move(notification));
    if (pendingNotifications_.size() > notificationLimit)
        pendingNotifications_.pop_front();
}

Task<QJsonObject> CodexAppServerClient::sendRequest(QString method, QJsonObject params, Duration timeout)
{
    const qint64 id = nextRequestID_++;
    write(method, params, id);
    // Hold the server for the call: a reset may replace the field meanwhile.
    const std::shared_ptr<PersistentLineProcess> server = process_;
    for (;;) {
        // The limit is for each line, not for the whole reply.
        const QString line = co_await server->reader().next(timeout);
        const std::optional<QJsonObject> message = parseMessage(line);
        if (!message)
            continue;
        const QJsonValue messageID = message->value(u"id");
        if (messageID.isUndefined()) {
            keepNotification(*message);
            continue;
        }
        if (!messageID.isDouble() || messageID.toDouble() != double(id))
            continue; // an answer to something nobody awaits
        const QJsonValue error = message->value(u"error");
        if (error.isObject()) {
            const QJsonValue text = error.toObject().value(u"message");
            throw ProviderError::unavailable(
                text.isString() ? text.toString() : QStringLiteral("The Codex app server rejected the request."));
        }
        const QJsonValue result = message->value(u"result");
        if (!result.isObject())
            throw ProviderError::unavailable(QStringLiteral("The Codex app server returned an invalid response."));
        co_return result.toObject();
    }
}

Task<void> CodexAppServerClient::ensureStarted(Duration timeout)
{
    if (process_ && process_->isRunning() && initialized_)
        co_return;
    resetServer();
    // The resolver may ask the login shell, which blocks: never on the main thread.
    const QString native = co_await runOffMainThread([] { return CLIExecutableResolver().resolveCodexNative(); });
    process_ = co_await PersistentLineProcess::start(serverInvocation(native));
    const QString version = QCoreApplication::applicationVersion();
    const QJsonObject clientInfo { { QStringLiteral("name"), QStringLiteral("brindlet") },
        { QStringLiteral("title"), QStringLiteral("Brindlet") },
        { QStringLiteral("version"), version.isEmpty() ? QStringLiteral("0.1") : version } };
    QJsonObject params { { QStringLiteral("clientInfo"), clientInfo } };
    co_await sendRequest(QStringLiteral("initialize"), std::move(params), timeout);
    write(QStringLiteral("initialized"), {}, std::nullopt);
    initialized_ = true;
}

Task<QString> CodexAppServerClient::startThread(Duration timeout)
{
    const QJsonObject config { { QStringLiteral("model_reasoning_effort"), QStringLiteral("none") },
        { QStringLiteral("mcp_servers"), QJsonObject {} } };
    QJsonObject params { { QStringLiteral("cwd"), QDir::tempPath() },
        { QStringLiteral("approvalPolicy"), QStringLiteral("never") },
        { QStringLiteral("sandbox"), QStringLiteral("read-only") }, { QStringLiteral("ephemeral"), true },
        { QStringLiteral("model"), QStringLiteral("gpt-5.5") },
        { QStringLiteral("serviceName"), QStringLiteral("brindlet") },
        { QStringLiteral("baseInstructions"), baseInstructions }, { QStringLiteral("config"), config } };
    const QJsonObject result = co_await sendRequest(QStringLiteral("thread/start"), std::move(params), timeout);
    const QJsonValue id = result.value(u"thread").toObject().value(u"id");
    if (!id.isString())
        throw ProviderError::unavailable(QStringLiteral("Codex returned an invalid thread response."));
    co_return id.toString();
}

Task<QJsonObject> CodexAppServerClient::nextMessage(std::shared_ptr<PersistentLineProcess> server, Duration timeout)
{
    for (;;) {
        co_await checkCancellation();
        if (!pendingNotifications_.empty()) {
            QJsonObject message = std::move(pendingNotifications_.front());
            pendingNotifications_.pop_front();
            co_return message;
        }
        if (!server)
            throw ProviderError::unavailable(notRunning);
        const QString line = co_await server->reader().next(timeout);
        if (const std::optional<QJsonObject> message = parseMessage(line))
            co_return *message;
    }
}

Task<QString> CodexAppServerClient::runTurn(QString prompt, Duration timeout, PartialTextHandler onPartialText)
{
    co_await ensureStarted(std::min<Duration>(timeout, 15s)); // a slow start must not eat the request's time
    QString threadID;
    if (preparedThreadID_)
        threadID = *std::exchange(preparedThreadID_, std::nullopt);
    else
        threadID = co_await startThread(timeout);
    const QJsonArray input { QJsonObject {
        { QStringLiteral("type"), QStringLiteral("text") }, { QStringLiteral("text"), prompt } } };
    QJsonObject params { { QStringLiteral("threadId"), threadID }, { QStringLiteral("input"), input } };
    co_await sendRequest(QStringLiteral("turn/start"), std::move(params), timeout);

    const std::shared_ptr<PersistentLineProcess> server = process_;
    QString accumulated;
    for (;;) {
        const QJsonObject message = co_await nextMessage(server, timeout);
        const QString method = message.value(u"method").toString();
        const QJsonObject messageParams = message.value(u"params").toObject();
        const bool thisThread = messageParams.value(u"threadId") == threadID;
        if (method == u"item/agentMessage/delta" && thisThread && messageParams.value(u"delta").isString()) {
            accumulated += messageParams.value(u"delta").toString();
            co_await onPartialText(accumulated);
        } else if (method == u"turn/completed" && thisThread && messageParams.value(u"turn").isObject()) {
            // The thread has served its one turn; its reply is skipped as an unknown id.
            try {
                write(QStringLiteral("thread/unsubscribe"), { { QStringLiteral("threadId"), threadID } },
                    nextRequestID_++);
            } catch (...) {
            }
            const QJsonObject turn = messageParams.value(u"turn").toObject();
            if (turn.value(u"status") != QLatin1String("completed")) {
                const QJsonValue reason = turn.value(u"error").toObject().value(u"message");
                throw ProviderError::unavailable(
                    reason.isString() ? reason.toString() : QStringLiteral("Codex could not complete the request."));
            }
            break;
        } else if (method == u"error") {
            // The real server reports its reconnections as errors it will retry: progress, not failure.
            if (messageParams.value(u"willRetry").toBool(false))
                continue;
            throw ProviderError::unavailable(errorMessage(messageParams));
        }
    }
    const QString text = accumulated.trimmed();
    if (text.isEmpty())
        throw ProviderError::emptyResponse();
    co_return text;
}

Task<QString> CodexAppServerClient::generate(QString prompt, Duration timeout, PartialTextHandler onPartialText)
{
    if (isGenerating_)
        throw ProviderError::unavailable(QStringLiteral("Codex is already completing another request."));
    isGenerating_ = true;
    QString text;
    std::exception_ptr error;
    try {
        text = co_await runTurn(std::move(prompt), timeout, std::move(onPartialText));
    } catch (...) {
        error = std::current_exception();
    }
    isGenerating_ = false;
    if (error) {
        // Every failure, a cancel included, ends this server; the next use starts a new one.
        resetServer();
        try {
            std::rethrow_exception(error);
        } catch (const CancellationError&) {
            throw CancellationError();
        }
    }
    preparing_ = spawn(prepareInBackground(QPointer<CodexAppServerClient>(this)));
    co_return text;
}

Task<void> CodexAppServerClient::prepare()
{
    co_await prepareInBackground(QPointer<CodexAppServerClient>(this));
}

Task<void> CodexAppServerClient::prepareInBackground(QPointer<CodexAppServerClient> client)
{
    if (!client || client->isGenerating_ || client->isPreparing_)
        co_return;
    client->isPreparing_ = true;
    std::optional<QString> thread;
    bool failed = false;
    try {
        co_await client->ensureStarted(12s);
        if (client && !client->preparedThreadID_)
            thread = co_await client->startThread(12s);
    } catch (...) {
        failed = true;
    }
    // The client may have gone, or a request may have begun, while this waited.
    if (!client)
        co_return;
    client->isPreparing_ = false;
    if (client->isGenerating_)
        co_return;
    if (failed)
        client->resetServer();
    else if (thread)
        client->preparedThreadID_ = thread;
}

} // namespace brindlet
