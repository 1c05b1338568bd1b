#pragma once

#include "Preset.h"
#include "ProviderKind.h"
#include "ProviderTypes.h"
#include "SelectionSnapshot.h"

#include <QString>
#include <QUuid>

#include <optional>

namespace brindlet {

// One request, frozen when it is made.
struct GenerationRequest {
    QUuid id;
    QString prompt;
    QString instruction;
    std::optional<Preset> preset;
    ProviderKind provider = ProviderKind::ollama;
    ProviderConfiguration configuration;
    std::optional<SelectionSnapshot> snapshot;
    DeliveryPreference delivery = DeliveryPreference::copy;

    // A new request with a fresh id, its prompt assembled from the instruction, the preset and
    // the selected text.
    static GenerationRequest make(const QString& instruction, const std::optional<Preset>& preset,
        const std::optional<QString>& selectedText, ProviderKind provider, const ProviderConfiguration& configuration,
        const std::optional<SelectionSnapshot>& snapshot, DeliveryPreference delivery);
};

// Where a finished result belongs.
struct GeneratedResultContext {
    std::optional<SelectionSnapshot> snapshot;
    DeliveryPreference delivery = DeliveryPreference::copy;
    std::optional<QString> appName;
    friend bool operator==(const GeneratedResultContext&, const GeneratedResultContext&) = default;
};

} // namespace brindlet
