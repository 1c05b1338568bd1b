#include "SignInCommand.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace brindlet {

std::optional<std::pair<QString, QStringList>> signInCommand(ProviderKind kind)
{
    switch (kind) {
    case ProviderKind::ollama: return std::nullopt;
    case ProviderKind::claude: return std::pair { QStringLiteral("claude"), QStringList { u"auth"_qs, u"login"_qs } };
    case ProviderKind::codex: return std::pair { QStringLiteral("codex"), QStringList { u"login"_qs } };
    case ProviderKind::cursor: return std::pair { QStringLiteral("cursor-agent"), QStringList { u"login"_qs } };
    // Gemini signs in from its own first screen: "Sign in with Google".
    case ProviderKind::gemini: return std::pair { QStringLiteral("gemini"), QStringList {} };
    }
    return std::nullopt;
}

std::optional<QString> findTerminal()
{
    QStringList candidates { u"x-terminal-emulator"_qs, u"gnome-terminal"_qs, u"konsole"_qs, u"xfce4-terminal"_qs,
        u"xterm"_qs };
    if (const QString chosen = qEnvironmentVariable("TERMINAL"); !chosen.isEmpty())
        candidates.prepend(chosen);
    for (const QString& candidate : candidates) {
        if (const QString path = QStandardPaths::findExecutable(candidate); !path.isEmpty())
            return path;
    }
    return std::nullopt;
}

TerminalCommand inTerminal(const QString& terminal, const QString& executable, const QStringList& arguments)
{
    const QString name = QFileInfo(terminal).fileName();
    const QString separator = name == u"gnome-terminal" ? u"--"_qs : name == u"xfce4-terminal" ? u"-x"_qs : u"-e"_qs;
    return { terminal, QStringList { separator, executable } + arguments };
}

} // namespace brindlet
