#include "GenerationRequest.h"

#include "Prompt.h"

namespace brindlet {

GenerationRequest GenerationRequest::make(const QString& instruction, const std::optional<Preset>& preset,
    const std::optional<QString>& selectedText, ProviderKind provider, const ProviderConfiguration& configuration,
    const std::optional<SelectionSnapshot>& snapshot, DeliveryPreference delivery)
{
    return GenerationRequest { QUuid::createUuid(), assemblePrompt(instruction, preset, selectedText), instruction,
        preset, provider, configuration, snapshot, delivery };
}

} // namespace brindlet
