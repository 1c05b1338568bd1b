#include "AgentReadiness.h"

#include "CLIExecutableResolver.h"
#include "ManagedCLIProcess.h"
#include "tasks/OffMainThread.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace brindlet {

namespace {

using namespace std::chrono_literals;
constexpr auto statusTimeout = 10s;

// A program's words for each outcome of its check.
struct AgentWords {
    QString name; // as resolved
    QString signedIn; // followed by the abbreviated path and "."
    QString notSignedIn;
    QString unverified;
    QString notFound;
};

AgentWords wordsFor(ProviderKind kind)
{
    switch (kind) {
    case ProviderKind::claude:
        return { QStringLiteral("claude"), QStringLiteral("Claude CLI is signed in. Found automatically at "),
            QStringLiteral("Claude CLI is installed, but it is not signed in. Run `claude auth login`."),
            QStringLiteral("Claude CLI is installed, but its sign-in could not be verified. Run `claude auth login`."),
            QStringLiteral("Claude CLI was not found.") };
    case ProviderKind::codex:
        return { QStringLiteral("codex"), QStringLiteral("Codex CLI is signed in. Found automatically at "),
            QStringLiteral("Codex CLI is installed, but it is not signed in. Run `codex login`."),
            QStringLiteral("Codex CLI is installed, but its sign-in could not be verified. Run `codex login`."),
            QStringLiteral("Codex CLI was not found.") };
    case ProviderKind::cursor:
        return { QStringLiteral("cursor-agent"), QStringLiteral("Cursor Agent is signed in. Found automatically at "),
            QStringLiteral("Cursor Agent is installed, but it is not signed in. Run `cursor-agent login`."),
            QStringLiteral(
                "Cursor Agent is installed, but its sign-in could not be verified. Run `cursor-agent login`."),
            QStringLiteral("Cursor Agent was not found. Install the Cursor Agent CLI first.") };
    case ProviderKind::gemini:
        return { QStringLiteral("gemini"),
            QStringLiteral("Gemini CLI is configured for Google sign-in. Found automatically at "),
            QStringLiteral(
                "Gemini CLI is installed, but Google sign-in is not configured. Run `gemini` and choose Sign in "
                "with Google."),
            QString(),
            QStringLiteral("Gemini CLI was not found. Install it, run `gemini`, and choose Sign in with Google.") };
    case ProviderKind::ollama: break;
    }
    return {};
}

// The executable whose sign-in is checked: Codex's native binary, the others by name.
QString resolveFor(ProviderKind kind, const QString& name)
{
    CLIExecutableResolver resolver;
    return kind == ProviderKind::codex ? resolver.resolveCodexNative() : resolver.resolve(name);
}

Task<std::optional<QString>> resolveOffMainThread(ProviderKind kind, QString name)
{
    try {
        co_return co_await runOffMainThread([kind, name] { return resolveFor(kind, name); });
    } catch (const CancellationError&) {
        throw;
    } catch (...) {
        co_return std::nullopt;
    }
}

bool containsWord(const QString& text, const char* word)
{
    return text.contains(QLatin1String(word), Qt::CaseInsensitive);
}

ProviderReadiness ready(const QString& detail)
{
    return { ProviderReadiness::State::ready, detail, {} };
}

ProviderReadiness unavailable(const QString& detail)
{
    return { ProviderReadiness::State::unavailable, detail, {} };
}

} // namespace

CLIInvocation authStatusInvocation(ProviderKind kind, const QString& executable)
{
    const QString command = kind == ProviderKind::claude ? QStringLiteral("\"$1\" auth status --json 2>&1 || true")
        : kind == ProviderKind::codex                    ? QStringLiteral("\"$1\" login status 2>&1 || true")
                                                         : QStringLiteral("\"$1\" status 2>&1 || true");
    return { QStringLiteral("/bin/sh"), { QStringLiteral("-c"), command, QStringLiteral("brindlet-auth"), executable },
        temporaryWorkingDirectory(QStringLiteral("Brindlet-auth-")), std::nullopt };
}

bool statusSaysSignedIn(ProviderKind kind, const QByteArray& output)
{
    if (kind == ProviderKind::claude) {
        // Anything that is not such JSON, a shell's error included, is not signed in.
        const QJsonValue loggedIn = QJsonDocument::fromJson(output).object().value(u"loggedIn");
        return loggedIn.isBool() && loggedIn.toBool();
    }
    const QString text = QString::fromUtf8(output).trimmed();
    if (kind == ProviderKind::codex)
        return containsWord(text, "logged in") && !containsWord(text, "not logged in");
    const bool positive = containsWord(text, "logged in") || containsWord(text, "authenticated");
    return positive && !containsWord(text, "not logged in") && !containsWord(text, "not authenticated")
        && !containsWord(text, "unauthenticated");
}

bool geminiSettingsChooseGoogleSignIn(const QByteArray& settings)
{
    const QJsonDocument document = QJsonDocument::fromJson(settings);
    const QJsonValue auth = document.object().value(u"security").toObject().value(u"auth");
    const QJsonValue type = auth.toObject().value(u"selectedType");
    return document.isObject() && auth.isObject() && type.isString() && type.toString() == u"oauth-personal";
}

QString abbreviatedPath(const QString& path, const QString& homeDirectory)
{
    const QString clean = QDir::cleanPath(path);
    const QString home = QDir::cleanPath(homeDirectory);
    if (clean == home)
        return QStringLiteral("~");
    if (clean.startsWith(home + QLatin1Char('/')))
        return QLatin1Char('~') + clean.mid(home.size());
    return path;
}

Task<ProviderReadiness> agentReadiness(ProviderKind kind, QString homeDirectory)
{
    const AgentWords words = wordsFor(kind);
    const std::optional<QString> executable = co_await resolveOffMainThread(kind, words.name);
    if (kind == ProviderKind::gemini) {
        if (!executable)
            co_return unavailable(words.notFound);
        QFile settings(QDir(homeDirectory).filePath(QStringLiteral(".gemini/settings.json")));
        const bool configured
            = settings.open(QIODevice::ReadOnly) && geminiSettingsChooseGoogleSignIn(settings.readAll());
        co_return configured ? ready(words.signedIn + abbreviatedPath(*executable, homeDirectory) + QLatin1Char('.'))
                             : unavailable(words.notSignedIn);
    }
    if (executable) {
        std::optional<QString> output;
        try {
            ManagedCLIProcess status(statusTimeout);
            output = co_await status.runToCompletion(authStatusInvocation(kind, *executable), QString());
        } catch (const CancellationError&) {
            throw;
        } catch (...) {
            // An empty answer, a time-out or a failed start: resolved again below.
        }
        if (output) {
            if (statusSaysSignedIn(kind, output->toUtf8()))
                co_return ready(words.signedIn + abbreviatedPath(*executable, homeDirectory) + QLatin1Char('.'));
            co_return unavailable(words.notSignedIn);
        }
    }
    const std::optional<QString> again = co_await resolveOffMainThread(kind, words.name);
    co_return unavailable(again ? words.unverified : words.notFound);
}

} // namespace brindlet
