#pragma once

// Which presets the user is offered: applicability by whether text is captured, the primary row,
// the rest, and the library's search. Pure rules over the full list (built-ins, then custom
// presets in stored order).

#include "domain/Preset.h"

namespace brindlet {

bool isPresetApplicable(const Preset& preset, bool hasText);
QList<Preset> availablePresets(const QList<Preset>& all, bool hasText);
QList<Preset> primaryPresets(const QList<Preset>& all, bool hasText);
QList<Preset> secondaryPresets(const QList<Preset>& all, bool hasText);
// An empty query (blanks count as empty) shows the secondary presets; a query searches every
// available one by name, then by instruction, ignoring case.
QList<Preset> visiblePresets(const QList<Preset>& all, bool hasText, const QString& query);
// Presets whose name or instruction holds the trimmed query, ignoring case; all for no query.
QList<Preset> matchingPresets(const QList<Preset>& presets, const QString& query);

} // namespace brindlet
