#include "ClaudeWarmWorkerClient.h"

#include "CLIExecutableResolver.h"
#include "ProviderError.h"
#include "domain/JsonWriter.h"
#include "tasks/OffMainThread.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace brindlet {

ClaudeWarmWorkerClient::StreamEvent ClaudeWarmWorkerClient::parseLine(const QString& line)
{
    using Kind = StreamEvent::Kind;
    const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8());
    const QJsonObject object = document.object();
    const QJsonValue type = object.value(QStringLiteral("type"));
    if (!document.isObject() || !type.isString())
        return {};
    if (type == QLatin1String("stream_event")) {
        const QJsonObject event = object.value(QStringLiteral("event")).toObject();
        const QJsonObject delta = event.value(QStringLiteral("delta")).toObject();
        const QJsonValue text = delta.value(QStringLiteral("text"));
        if (event.value(QStringLiteral("type")) == QLatin1String("content_block_delta")
            && delta.value(QStringLiteral("type")) == QLatin1String("text_delta") && text.isString())
            return { Kind::delta, text.toString() };
        return {};
    }
    if (type == QLatin1String("result")) {
        const QJsonValue result = object.value(QStringLiteral("result"));
        const QJsonValue error = object.value(QStringLiteral("error"));
        const QString text = result.isString() ? result.toString() : error.isString() ? error.toString() : QString();
        const QJsonValue subtype = object.value(QStringLiteral("subtype"));
        // The program reports failures with subtype "success" and is_error true as well.
        if (object.value(QStringLiteral("is_error")).toBool(false)
            || (subtype.isString() && subtype.toString().startsWith(QLatin1String("error"))))
            return { Kind::failure, text.isEmpty() ? QStringLiteral("Claude could not complete the request.") : text };
        return { Kind::final, text };
    }
    if (type == QLatin1String("error")) {
        const QJsonValue error = object.value(QStringLiteral("error"));
        return { Kind::failure, error.isString() ? error.toString() : QStringLiteral("Claude reported an error.") };
    }
    return {};
}

CLIInvocation ClaudeWarmWorkerClient::workerInvocation(const QString& executable)
{
    return { executable,
        { QStringLiteral("--print"), QStringLiteral("--safe-mode"), QStringLiteral("--tools"), QString(),
            QStringLiteral("--strict-mcp-config"), QStringLiteral("--no-session-persistence"),
            QStringLiteral("--permission-mode"), QStringLiteral("dontAsk"), QStringLiteral("--input-format"),
            QStringLiteral("stream-json"), QStringLiteral("--output-format"), QStringLiteral("stream-json"),
            QStringLiteral("--include-partial-messages"), QStringLiteral("--system-prompt"), claudeSystemPrompt(),
            QStringLiteral("--effort"), QStringLiteral("low"), QStringLiteral("--max-turns"), QStringLiteral("1"),
            QStringLiteral("--prompt-suggestions"), QStringLiteral("false"), QStringLiteral("--no-chrome"),
            QStringLiteral("--verbose") },
        temporaryWorkingDirectory(QStringLiteral("Brindlet-ClaudeWorker-")), claudeEnvironment() };
}

void ClaudeWarmWorkerClient::dropWorker()
{
    if (worker_)
        worker_->shutDown();
    worker_.reset();
}

Task<void> ClaudeWarmWorkerClient::ensureWorker()
{
    if (worker_ && worker_->isRunning())
        co_return;
    dropWorker();
    // The resolver may ask the login shell, which blocks: never on the main thread.
    const QString executable = co_await runOffMainThread([] { return CLIExecutableResolver().resolve(u"claude"_qs); });
    auto started = co_await PersistentLineProcess::start(workerInvocation(executable));
    // Another caller may have started one while this one waited.
    if (worker_ && worker_->isRunning()) {
        started->shutDown();
        co_return;
    }
    worker_ = std::move(started);
}

Task<void> ClaudeWarmWorkerClient::prepare()
{
    if (isGenerating_ || isStarting_)
        co_return;
    isStarting_ = true;
    try {
        co_await ensureWorker();
    } catch (...) {
        dropWorker();
    }
    isStarting_ = false;
}

Task<void> ClaudeWarmWorkerClient::warmInBackground(QPointer<ClaudeWarmWorkerClient> client)
{
    if (client)
        co_await client->prepare();
}

void ClaudeWarmWorkerClient::finishRequest()
{
    // A worker serves one request only; the next one starts at once in the background.
    dropWorker();
    isGenerating_ = false;
    spawn(warmInBackground(QPointer<ClaudeWarmWorkerClient>(this)));
}

Task<QString> ClaudeWarmWorkerClient::generate(QString prompt, Duration timeout, PartialTextHandler onPartialText)
{
    if (isGenerating_)
        throw ProviderError::unavailable(QStringLiteral("Claude is already completing another request."));
    isGenerating_ = true;
    try {
        QString text = co_await runRequest(std::move(prompt), timeout, std::move(onPartialText));
        finishRequest();
        co_return text;
    } catch (...) {
        finishRequest();
        throw;
    }
}

Task<QString> ClaudeWarmWorkerClient::runRequest(QString prompt, Duration timeout, PartialTextHandler onPartialText)
{
    co_await ensureWorker();
    JsonWriter message;
    message.beginObject();
    message.key("type").string(QStringLiteral("user"));
    message.key("message").beginObject();
    message.key("role").string(QStringLiteral("user"));
    message.key("content").string(prompt);
    message.endObject();
    message.key("parent_tool_use_id").null();
    message.endObject();
    worker_->writeLine(message.take()); // the worker keeps its input open

    // Hold the worker for the request: finishRequest may replace the field meanwhile.
    const std::shared_ptr<PersistentLineProcess> worker = worker_;
    // The last text shown is always the accumulator itself; keeping a second copy of it would
    // make every append copy the whole text.
    QString accumulated;
    for (;;) {
        co_await checkCancellation();
        const QString line = co_await worker->reader().next(timeout);
        const StreamEvent event = parseLine(line);
        switch (event.kind) {
        case StreamEvent::Kind::delta:
            accumulated += event.text;
            co_await onPartialText(accumulated);
            break;
        case StreamEvent::Kind::final: {
            const QString text = event.text.trimmed();
            if (text.isEmpty())
                throw ProviderError::emptyResponse();
            if (text != accumulated)
                co_await onPartialText(text);
            co_return text;
        }
        case StreamEvent::Kind::failure: throw ProviderError::unavailable(event.text);
        case StreamEvent::Kind::ignored: break;
        }
    }
}

} // namespace brindlet
