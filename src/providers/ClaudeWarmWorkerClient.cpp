#include "ClaudeWarmWorkerClient.h"

#include "CLIExecutableResolver.h"
#include "ProviderError.h"
#include "domain/JsonWriter.h"
#include "tasks/OffMainThread.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace brindlet {

AgentStreamEvent ClaudeWarmWorkerClient::parseLine(const QString& line)
{
    using Kind = AgentStreamEvent::Kind;
    const std::optional<TypedLine> parsed = typedLine(line);
    if (!parsed)
        return {};
    const auto& [object, type] = *parsed;
    if (type == QLatin1String("stream_event")) {
        const QJsonObject event = object.value(QStringLiteral("event")).toObject();
        const QJsonObject delta = event.value(QStringLiteral("delta")).toObject();
        const QJsonValue text = delta.value(QStringLiteral("text"));
        if (event.value(QStringLiteral("type")) == QLatin1String("content_block_delta")
            && delta.value(QStringLiteral("type")) == QLatin1String("text_delta") && text.isString())
            return { Kind::delta, text.toString() };
        return {};
    }
    // The program reports failures with subtype "success" and is_error true as well.
    return resultOrErrorLine(object, QStringLiteral("Claude"));
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

namespace {
// A request is one JSON line; the worker keeps its input open, and says nothing new on its
// standard error that a failure should repeat.
class ClaudeProtocol final : public AgentProtocol {
public:
    QString busyText() const override { return QStringLiteral("Claude is already completing another request."); }
    Task<CLIInvocation> workerInvocation() override
    {
        // The resolver may ask the login shell, which blocks: never on the main thread.
        const QString executable
            = co_await runOffMainThread([] { return CLIExecutableResolver().resolve(QStringLiteral("claude")); });
        co_return ClaudeWarmWorkerClient::workerInvocation(executable);
    }
    void sendRequest(PersistentLineProcess& worker, const QString& prompt) const override
    {
        JsonWriter message;
        message.beginObject();
        message.key("type").string(QStringLiteral("user"));
        message.key("message").beginObject();
        message.key("role").string(QStringLiteral("user"));
        message.key("content").string(prompt);
        message.endObject();
        message.key("parent_tool_use_id").null();
        message.endObject();
        worker.writeLine(message.take());
    }
    AgentStreamEvent parseLine(const QString& line) const override { return ClaudeWarmWorkerClient::parseLine(line); }
    bool explainsFailuresFromStandardError() const override { return false; }
};
} // namespace

ClaudeWarmWorkerClient::ClaudeWarmWorkerClient()
    : WarmWorkerClient(std::make_unique<ClaudeProtocol>())
{
}

} // namespace brindlet
