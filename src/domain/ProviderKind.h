#pragma once

#include "Enums.h"

#include <QString>

#include <array>
#include <optional>

namespace brindlet {

// Every loop over providers walks this order.
inline constexpr std::array<ProviderKind, 5> allProviderKinds { ProviderKind::ollama, ProviderKind::claude,
    ProviderKind::codex, ProviderKind::cursor, ProviderKind::gemini };

// The persisted form and the analytics word.
QString wireName(ProviderKind kind);
std::optional<ProviderKind> providerKindFromWireName(const QString& name);
QString displayName(ProviderKind kind);
// The line under the name in the surfaces' provider lists.
QString subtitle(ProviderKind kind);

} // namespace brindlet
