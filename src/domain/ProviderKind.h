#pragma once

#include <QString>

#include <array>
#include <optional>

namespace brindlet {

enum class ProviderKind { ollama, claude, codex, cursor, gemini };

// Every loop over providers walks this order.
inline constexpr std::array<ProviderKind, 5> allProviderKinds { ProviderKind::ollama, ProviderKind::claude,
    ProviderKind::codex, ProviderKind::cursor, ProviderKind::gemini };

// The persisted form and the analytics word.
QString wireName(ProviderKind kind);
std::optional<ProviderKind> providerKindFromWireName(const QString& name);
QString displayName(ProviderKind kind);

} // namespace brindlet
