#include "WarmWorkerClient.h"

#include "ProviderError.h"

#include <QJsonDocument>

namespace brindlet {

namespace {
const QString diedWithoutAWord = QStringLiteral("The CLI process ended unexpectedly.");
} // namespace

std::optional<TypedLine> typedLine(const QString& line)
{
    const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8());
    const QJsonValue type = document.object().value(QStringLiteral("type"));
    if (!document.isObject() || !type.isString())
        return std::nullopt;
    return TypedLine { document.object(), type.toString() };
}

AgentStreamEvent resultOrErrorLine(const QJsonObject& object, const QString& program)
{
    using Kind = AgentStreamEvent::Kind;
    const QJsonValue type = object.value(QStringLiteral("type"));
    const QJsonValue error = object.value(QStringLiteral("error"));
    if (type == QLatin1String("result")) {
        const QJsonValue result = object.value(QStringLiteral("result"));
        const QString text = result.isString() ? result.toString() : error.isString() ? error.toString() : QString();
        const QJsonValue subtype = object.value(QStringLiteral("subtype"));
        if (object.value(QStringLiteral("is_error")).toBool(false)
            || (subtype.isString() && subtype.toString().startsWith(QLatin1String("error"))))
            return { Kind::failure,
                text.isEmpty() ? program + QStringLiteral(" could not complete the request.") : text };
        return { Kind::final, text };
    }
    if (type == QLatin1String("error"))
        return { Kind::failure, error.isString() ? error.toString() : program + QStringLiteral(" reported an error.") };
    return {};
}

WarmWorkerClient::WarmWorkerClient(std::unique_ptr<AgentProtocol> protocol)
    : protocol_(std::move(protocol))
{
}

void WarmWorkerClient::dropWorker()
{
    if (worker_)
        worker_->shutDown();
    worker_.reset();
}

Task<void> WarmWorkerClient::ensureWorker()
{
    if (worker_ && worker_->isRunning())
        co_return;
    dropWorker();
    CLIInvocation invocation = co_await protocol_->workerInvocation();
    auto started = co_await PersistentLineProcess::start(std::move(invocation));
    // Another caller may have started one while this one waited.
    if (worker_ && worker_->isRunning()) {
        started->shutDown();
        co_return;
    }
    worker_ = std::move(started);
}

WarmWorkerClient::~WarmWorkerClient()
{
    if (warming_)
        warming_->cancel();
    dropWorker();
}

Task<void> WarmWorkerClient::prepare()
{
    co_await warm(QPointer<WarmWorkerClient>(this), protocol_);
}

Task<void> WarmWorkerClient::warm(QPointer<WarmWorkerClient> client, std::shared_ptr<AgentProtocol> protocol)
{
    if (!client || client->isGenerating_ || client->isStarting_ || !protocol->waitsForItsRequest()
        || (client->worker_ && client->worker_->isRunning()))
        co_return;
    client->isStarting_ = true;
    std::shared_ptr<PersistentLineProcess> started;
    try {
        CLIInvocation invocation = co_await protocol->workerInvocation();
        started = co_await PersistentLineProcess::start(std::move(invocation));
    } catch (...) {
        // Warming up is best effort: the request that comes reports whatever is wrong.
    }
    if (!client) {
        if (started)
            started->shutDown();
        co_return;
    }
    client->isStarting_ = false;
    // A request that began meanwhile started a worker of its own, which stands.
    if (!started || client->isGenerating_ || (client->worker_ && client->worker_->isRunning())) {
        if (started)
            started->shutDown();
        co_return;
    }
    client->dropWorker();
    client->worker_ = std::move(started);
}

void WarmWorkerClient::finishRequest()
{
    // A worker serves one request only; the next one starts at once in the background.
    dropWorker();
    isGenerating_ = false;
    warming_ = spawn(warm(QPointer<WarmWorkerClient>(this), protocol_));
}

Task<QString> WarmWorkerClient::generate(QString prompt, Duration timeout, PartialTextHandler onPartialText)
{
    if (isGenerating_)
        throw ProviderError::unavailable(protocol_->busyText());
    isGenerating_ = true;
    QString text;
    std::exception_ptr error;
    QString failureText;
    try {
        text = co_await runRequest(std::move(prompt), timeout, std::move(onPartialText));
    } catch (...) {
        error = std::current_exception();
        if (worker_)
            failureText = worker_->failureText(); // before the worker goes
    }
    finishRequest();
    if (!error)
        co_return text;
    try {
        std::rethrow_exception(error);
    } catch (const CancellationError&) {
        throw CancellationError();
    } catch (const ProviderError& providerError) {
        if (providerError.kind() == ProviderError::Kind::timedOut)
            throw;
    } catch (...) {
    }
    // What the program itself said is a better reason than what the stream made of its end.
    if (protocol_->explainsFailuresFromStandardError() && !failureText.isEmpty() && failureText != diedWithoutAWord)
        throw ProviderError::unavailable(failureText);
    std::rethrow_exception(error);
}

Task<QString> WarmWorkerClient::runRequest(QString prompt, Duration timeout, PartialTextHandler onPartialText)
{
    co_await ensureWorker();
    protocol_->sendRequest(*worker_, prompt);
    // Hold the worker for the request: finishRequest may replace the field meanwhile.
    const std::shared_ptr<PersistentLineProcess> worker = worker_;
    // The last text shown is always the accumulator itself; keeping a second copy of it would
    // make every append copy the whole text.
    QString accumulated;
    for (;;) {
        co_await checkCancellation();
        const QString line = co_await worker->reader().next(timeout);
        const AgentStreamEvent event = protocol_->parseLine(line);
        switch (event.kind) {
        case AgentStreamEvent::Kind::delta:
            accumulated += event.text;
            co_await onPartialText(accumulated);
            break;
        case AgentStreamEvent::Kind::final: {
            const QString text = event.text.trimmed();
            if (text.isEmpty())
                throw ProviderError::emptyResponse();
            if (text != accumulated)
                co_await onPartialText(text);
            co_return text;
        }
        case AgentStreamEvent::Kind::done: {
            const QString text = accumulated.trimmed();
            if (text.isEmpty())
                throw ProviderError::emptyResponse();
            co_return text;
        }
        case AgentStreamEvent::Kind::failure: throw ProviderError::unavailable(event.text);
        case AgentStreamEvent::Kind::ignored: break;
        }
    }
}

} // namespace brindlet
