#include "CursorWarmWorkerClient.h"

#include "CLIExecutableResolver.h"
#include "ManagedCLIProcess.h"
#include "ProviderError.h"
#include "domain/DescribedError.h"
#include "tasks/OffMainThread.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSaveFile>

namespace brindlet {

namespace {

using namespace std::chrono_literals;

const QString instructions = QStringLiteral(
    "You are Brindlet's text transformation engine. Follow the request and return only the final usable text. Do "
    "not use tools, inspect files, browse the web, run commands, or add commentary.");

QProcessEnvironment withoutApiKey()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("CURSOR_API_KEY"));
    return environment;
}

class CursorProtocol final : public AgentProtocol {
public:
    QString busyText() const override { return QStringLiteral("Cursor is already completing another request."); }

    Task<CLIInvocation> workerInvocation() override
    {
        const QString executable
            = co_await runOffMainThread([] { return CLIExecutableResolver().resolve(QStringLiteral("cursor-agent")); });
        if (!hasResolvedFastModel_) {
            // Once for the client's life: a listing that fails is not asked again.
            std::optional<QString> model;
            try {
                model = co_await fastModel(executable);
            } catch (const CancellationError&) {
                throw;
            } catch (...) {
            }
            resolvedFastModel_ = model;
            hasResolvedFastModel_ = true;
        }
        const QString directory = temporaryWorkingDirectory(QStringLiteral("Brindlet-CursorWorker-"));
        CursorWarmWorkerClient::writePermissionFile(directory);
        co_return CursorWarmWorkerClient::workerInvocation(executable, resolvedFastModel_, directory);
    }

    void sendRequest(PersistentLineProcess& worker, const QString& prompt) const override
    {
        worker.writeFinalInput(instructions + QStringLiteral("\n\n") + prompt); // closing the input starts it
    }

    AgentStreamEvent parseLine(const QString& line) const override { return CursorWarmWorkerClient::parseLine(line); }

private:
    static Task<std::optional<QString>> fastModel(QString executable)
    {
        ManagedCLIProcess listing(10s);
        CLIInvocation invocation { executable, { QStringLiteral("--list-models") },
            temporaryWorkingDirectory(QStringLiteral("Brindlet-CursorModels-")), withoutApiKey() };
        const QString output = co_await listing.runToCompletion(std::move(invocation), QString());
        co_return CursorWarmWorkerClient::selectFastModel(output);
    }

    std::optional<QString> resolvedFastModel_;
    bool hasResolvedFastModel_ = false;
};

} // namespace

CursorWarmWorkerClient::CursorWarmWorkerClient()
    : WarmWorkerClient(std::make_unique<CursorProtocol>())
{
}

CLIInvocation CursorWarmWorkerClient::workerInvocation(
    const QString& executable, const std::optional<QString>& model, const QString& workingDirectory)
{
    QStringList arguments { QStringLiteral("--print"), QStringLiteral("--output-format"), QStringLiteral("stream-json"),
        QStringLiteral("--stream-partial-output"), QStringLiteral("--mode"), QStringLiteral("ask"),
        QStringLiteral("--sandbox"), QStringLiteral("enabled"), QStringLiteral("--trust") };
    if (model)
        arguments << QStringLiteral("--model") << *model;
    return { executable, arguments, workingDirectory, withoutApiKey() };
}

void CursorWarmWorkerClient::writePermissionFile(const QString& workingDirectory)
{
    const QString folder = QDir(workingDirectory).filePath(QStringLiteral(".cursor"));
    const QJsonObject permissions { { QStringLiteral("allow"), QJsonArray {} },
        { QStringLiteral("deny"),
            QJsonArray { QStringLiteral("Shell(*)"), QStringLiteral("Read(*)"), QStringLiteral("Write(*)"),
                QStringLiteral("WebFetch(*)"), QStringLiteral("Mcp(*:*)") } } };
    QSaveFile file(QDir(folder).filePath(QStringLiteral("cli.json")));
    // QJsonObject keeps its keys sorted.
    const bool written = QDir().mkpath(folder) && file.open(QIODevice::WriteOnly)
        && file.write(QJsonDocument(QJsonObject { { QStringLiteral("permissions"), permissions } })
                          .toJson(QJsonDocument::Indented))
            >= 0
        && file.commit();
    if (!written)
        throw PlatformError(QStringLiteral("Brindlet could not write Cursor's permission file."));
}

std::optional<QString> CursorWarmWorkerClient::selectFastModel(const QString& listing)
{
    static const QRegularExpression validId(QStringLiteral("^[A-Za-z0-9._\\-\\[\\]=,]+$"));
    QStringList ids;
    for (const QString& rawLine : listing.split(QRegularExpression(QStringLiteral("[\\n\\r\\x{2028}\\x{2029}]")))) {
        const QString line = rawLine.trimmed();
        const qsizetype separator = line.indexOf(QStringLiteral(" - "));
        if (line.isEmpty() || separator < 0)
            continue;
        const QString id = line.left(separator);
        if (validId.match(id).hasMatch())
            ids << id;
    }
    // Each pattern over the whole list before the next: a later "-none-fast" beats an earlier "-low-fast".
    for (const char* pattern : { "-none-fast", "-low-fast", "-none", "-low" }) {
        for (const QString& id : ids) {
            if (id.contains(QLatin1String(pattern)))
                return id;
        }
    }
    for (const QString& id : ids) {
        if (id.endsWith(QLatin1String("-fast")) && !id.contains(QLatin1String("thinking")))
            return id;
    }
    return std::nullopt;
}

AgentStreamEvent CursorWarmWorkerClient::parseLine(const QString& line)
{
    using Kind = AgentStreamEvent::Kind;
    const std::optional<TypedLine> parsed = typedLine(line);
    if (!parsed)
        return {};
    const auto& [object, type] = *parsed;
    if (type == QLatin1String("assistant")) {
        // Only the streamed pieces: the closing message repeats them with a model_call_id.
        if (!object.contains(QStringLiteral("timestamp_ms")) || object.contains(QStringLiteral("model_call_id")))
            return {};
        QString text;
        for (const QJsonValue& part : object.value(QStringLiteral("message")).toObject().value(u"content").toArray()) {
            const QJsonObject piece = part.toObject();
            if (piece.value(QStringLiteral("type")) == QLatin1String("text") && piece.value(u"text").isString())
                text += piece.value(u"text").toString();
        }
        return text.isEmpty() ? AgentStreamEvent {} : AgentStreamEvent { Kind::delta, text };
    }
    return resultOrErrorLine(object, QStringLiteral("Cursor"));
}

} // namespace brindlet
