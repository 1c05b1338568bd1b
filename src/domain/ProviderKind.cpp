#include "ProviderKind.h"

namespace brindlet {

QString wireName(ProviderKind kind)
{
    switch (kind) {
    case ProviderKind::ollama: return QStringLiteral("ollama");
    case ProviderKind::claude: return QStringLiteral("claude");
    case ProviderKind::codex: return QStringLiteral("codex");
    case ProviderKind::cursor: return QStringLiteral("cursor");
    case ProviderKind::gemini: return QStringLiteral("gemini");
    }
    return {};
}

std::optional<ProviderKind> providerKindFromWireName(const QString& name)
{
    for (ProviderKind kind : allProviderKinds) {
        if (wireName(kind) == name)
            return kind;
    }
    return std::nullopt;
}

QString displayName(ProviderKind kind)
{
    switch (kind) {
    case ProviderKind::ollama: return QStringLiteral("Ollama");
    case ProviderKind::claude: return QStringLiteral("Claude CLI");
    case ProviderKind::codex: return QStringLiteral("Codex CLI");
    case ProviderKind::cursor: return QStringLiteral("Cursor Agent");
    case ProviderKind::gemini: return QStringLiteral("Gemini CLI");
    }
    return {};
}

QString subtitle(ProviderKind kind)
{
    switch (kind) {
    case ProviderKind::ollama: return QStringLiteral("Uses your configured Ollama-compatible server");
    case ProviderKind::claude: return QStringLiteral("Uses your Claude login");
    case ProviderKind::codex: return QStringLiteral("Uses your Codex login");
    case ProviderKind::cursor: return QStringLiteral("Uses your Cursor login");
    case ProviderKind::gemini: return QStringLiteral("Uses your Google sign-in from Gemini CLI");
    }
    return {};
}

} // namespace brindlet
