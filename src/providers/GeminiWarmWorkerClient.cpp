#include "GeminiWarmWorkerClient.h"

#include "CLIExecutableResolver.h"
#include "domain/DescribedError.h"
#include "tasks/OffMainThread.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace brindlet {

namespace {

const QString instructions = QStringLiteral(
    "You are Brindlet's text transformation engine. Treat standard input as the complete request. Return only the "
    "final usable text. Do not use tools, inspect files, browse the web, run commands, or add commentary.");
const QString policyName = QStringLiteral("brindlet-deny-tools.toml");

class GeminiProtocol final : public AgentProtocol {
public:
    QString busyText() const override { return QStringLiteral("Gemini is already completing another request."); }
    Task<CLIInvocation> workerInvocation() override
    {
        const QString executable
            = co_await runOffMainThread([] { return CLIExecutableResolver().resolve(QStringLiteral("gemini")); });
        co_return GeminiWarmWorkerClient::workerInvocation(
            executable, temporaryWorkingDirectory(QStringLiteral("Brindlet-GeminiWorker-")));
    }
    void sendRequest(PersistentLineProcess& worker, const QString& prompt) const override
    {
        worker.writeFinalInput(prompt); // the instructions are on the command line
    }
    AgentStreamEvent parseLine(const QString& line) const override { return GeminiWarmWorkerClient::parseLine(line); }
    bool waitsForItsRequest() const override { return false; }
};

} // namespace

GeminiWarmWorkerClient::GeminiWarmWorkerClient()
    : WarmWorkerClient(std::make_unique<GeminiProtocol>())
{
}

QString GeminiWarmWorkerClient::writePolicyFile(const QString& workingDirectory)
{
    const QString path = QDir(workingDirectory).filePath(policyName);
    QSaveFile file(path);
    const bool written = QDir().mkpath(workingDirectory) && file.open(QIODevice::WriteOnly)
        && file.write("[[rule]]\ntoolName = \"*\"\ndecision = \"deny\"\npriority = 999\ninteractive = false") >= 0
        && file.commit();
    if (!written)
        throw PlatformError(QStringLiteral("Brindlet could not write Gemini's tool policy."));
    return path;
}

CLIInvocation GeminiWarmWorkerClient::workerInvocation(const QString& executable, const QString& workingDirectory)
{
    const QString policy = writePolicyFile(workingDirectory);
    // Only the personal Google sign-in, which readiness reports on: no key from the environment.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* key : { "GEMINI_API_KEY", "GOOGLE_API_KEY", "GOOGLE_APPLICATION_CREDENTIALS" })
        environment.remove(QLatin1String(key));
    environment.insert(QStringLiteral("GOOGLE_GENAI_USE_GCA"), QStringLiteral("true"));
    return { executable,
        { QStringLiteral("--prompt"), instructions, QStringLiteral("--model"), QStringLiteral("flash-lite"),
            QStringLiteral("--output-format"), QStringLiteral("stream-json"), QStringLiteral("--approval-mode"),
            QStringLiteral("default"), QStringLiteral("--skip-trust"), QStringLiteral("--admin-policy"), policy },
        workingDirectory, environment };
}

AgentStreamEvent GeminiWarmWorkerClient::parseLine(const QString& line)
{
    using Kind = AgentStreamEvent::Kind;
    const std::optional<TypedLine> parsed = typedLine(line);
    if (!parsed)
        return {};
    const auto& [object, type] = *parsed;
    if (type == QLatin1String("message")) {
        // The program echoes the request as a user message: only the assistant's count.
        const QJsonValue content = object.value(QStringLiteral("content"));
        if (object.value(QStringLiteral("role")) == QLatin1String("assistant") && content.isString()
            && !content.toString().isEmpty())
            return { Kind::delta, content.toString() };
        return {};
    }
    if (type == QLatin1String("result")) {
        if (object.value(QStringLiteral("status")) == QLatin1String("success"))
            return { Kind::done, QString() };
        const QJsonValue error = object.value(QStringLiteral("error"));
        const QJsonValue message = object.value(QStringLiteral("message"));
        return { Kind::failure,
            error.isString()         ? error.toString()
                : message.isString() ? message.toString()
                                     : QStringLiteral("Gemini could not complete the request.") };
    }
    if (type == QLatin1String("error")) {
        const QJsonValue severity = object.value(QStringLiteral("severity"));
        if (severity.isString() && severity.toString().toLower() != QLatin1String("error"))
            return {}; // warnings
        const QJsonValue message = object.value(QStringLiteral("message"));
        return { Kind::failure, message.isString() ? message.toString() : QStringLiteral("Gemini reported an error.") };
    }
    if (type == QLatin1String("tool_use"))
        return { Kind::failure,
            QStringLiteral("Gemini attempted to use a tool that Brindlet disables for text-only requests.") };
    return {};
}

} // namespace brindlet
