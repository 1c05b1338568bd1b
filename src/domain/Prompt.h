#pragma once

#include "Preset.h"
#include "SelectionSnapshot.h"

#include <QString>

#include <optional>

namespace brindlet {

// The one string sent to a provider. Selected text only ever travels as a JSON string value
// behind a fixed warning, so instructions hidden in a document stay data.
QString assemblePrompt(
    const QString& instruction, const std::optional<Preset>& preset, const std::optional<QString>& selectedText);

// The block that carries the selected text: a fixed line, then {"selected_text":"..."}.
QString selectedTextBlock(const QString& text);

// Appended to the previous prompt by a regeneration; repeated regenerations pile it up.
QString regenerationSuffix();

// What a result will actually do, given what the snapshot allows.
DeliveryPreference resolvedDelivery(DeliveryPreference preference, const std::optional<SelectionSnapshot>& snapshot);

} // namespace brindlet
