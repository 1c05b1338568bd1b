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
};

// Where a finished result belongs.
struct GeneratedResultContext {
    std::optional<SelectionSnapshot> snapshot;
    DeliveryPreference delivery = DeliveryPreference::copy;
    std::optional<QString> appName;
    friend bool operator==(const GeneratedResultContext&, const GeneratedResultContext&) = default;
};

} // namespace brindlet
