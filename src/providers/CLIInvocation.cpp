#include "CLIInvocation.h"

#include "CLIExecutableResolver.h"
#include "CursorWarmWorkerClient.h"
#include "GeminiWarmWorkerClient.h"
#include "ProviderError.h"

#include <QCoreApplication>

namespace brindlet {

QString restrictedProfile(const QString& path)
{
    QString escaped = path;
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return QStringLiteral("(version 1)\n(allow default)\n(deny process-exec)\n(allow process-exec (literal \"")
        + escaped + QStringLiteral("\"))");
}

QString sandboxExecutable()
{
    const QString configured = qEnvironmentVariable("BRINDLET_SANDBOX_EXEC");
    if (!configured.isEmpty())
        return configured;
    return QCoreApplication::applicationDirPath() + QStringLiteral("/brindlet-sandbox-exec");
}

QString claudeSystemPrompt()
{
    return QStringLiteral("You are Brindlet's text transformation engine. Follow the request and return only the final "
                          "usable text. Do not use tools, inspect files, or add commentary.");
}

QProcessEnvironment claudeEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC"), QStringLiteral("1"));
    return environment;
}

CLIInvocation oneShotInvocation(ProviderKind provider)
{
    const QString directory = temporaryWorkingDirectory(QStringLiteral("Brindlet-"));
    CLIExecutableResolver resolver;
    switch (provider) {
    case ProviderKind::claude:
        return { resolver.resolve(QStringLiteral("claude")),
            { QStringLiteral("--print"), QStringLiteral("--safe-mode"), QStringLiteral("--tools"), QString(),
                QStringLiteral("--strict-mcp-config"), QStringLiteral("--no-session-persistence"),
                QStringLiteral("--permission-mode"), QStringLiteral("dontAsk"), QStringLiteral("--system-prompt"),
                claudeSystemPrompt(), QStringLiteral("--effort"), QStringLiteral("low"), QStringLiteral("--max-turns"),
                QStringLiteral("1"), QStringLiteral("--prompt-suggestions"), QStringLiteral("false"),
                QStringLiteral("--no-chrome"), QStringLiteral("--output-format"), QStringLiteral("text") },
            directory, claudeEnvironment() };
    case ProviderKind::codex: {
        const QString native = resolver.resolveCodexNative();
        return { sandboxExecutable(),
            { QStringLiteral("-p"), restrictedProfile(native), native, QStringLiteral("exec"),
                QStringLiteral("--model"), QStringLiteral("gpt-5.5"), QStringLiteral("--config"),
                QStringLiteral("model_reasoning_effort=\"none\""), QStringLiteral("--skip-git-repo-check"),
                QStringLiteral("--ephemeral"), QStringLiteral("--ignore-user-config"), QStringLiteral("--ignore-rules"),
                QStringLiteral("--sandbox"), QStringLiteral("read-only"), QStringLiteral("--color"),
                QStringLiteral("never"), QStringLiteral("-") },
            directory, std::nullopt };
    }
    case ProviderKind::cursor:
        // No caller reaches these two: their warm clients have no fallback.
        CursorWarmWorkerClient::writePermissionFile(directory);
        return CursorWarmWorkerClient::workerInvocation(
            resolver.resolve(QStringLiteral("cursor-agent")), std::nullopt, directory);
    case ProviderKind::gemini:
        return GeminiWarmWorkerClient::workerInvocation(resolver.resolve(QStringLiteral("gemini")), directory);
    case ProviderKind::ollama: throw ProviderError::unavailable(QStringLiteral("This provider does not use a CLI."));
    }
    throw ProviderError::unavailable(QStringLiteral("This provider does not use a CLI."));
}

} // namespace brindlet
