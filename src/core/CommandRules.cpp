#include "CommandRules.h"

namespace brindlet {

std::optional<QString> commandRefusal(
    const std::optional<Preset>& preset, const QString& direction, const CommandSource& source)
{
    const bool needsSelection = preset && preset->input == PresetInput::selectionRequired;
    if (preset && preset->id == Preset::translateID && direction.isEmpty())
        return QStringLiteral("Enter the target language, then generate.");
    if (needsSelection && (!source.capturedText || source.capturedText->isEmpty()))
        return QStringLiteral("Select text in another app, then choose this action.");
    if (needsSelection && source.workingText.trimmed().isEmpty())
        return QStringLiteral("Add source text or revert to the captured selection.");
    if (direction.isEmpty() && (!preset || preset->instruction.trimmed().isEmpty()))
        return QStringLiteral("Describe what you want Brindlet to write or do.");
    return std::nullopt;
}

std::optional<QString> commandSelectedText(const std::optional<Preset>& preset, const CommandSource& source)
{
    if ((preset && preset->input == PresetInput::newContent) || !source.capturedText)
        return std::nullopt;
    return source.workingText;
}

bool fixChangesNothing(const QString& source, const QString& fixed)
{
    return source.trimmed().normalized(QString::NormalizationForm_C)
        == fixed.trimmed().normalized(QString::NormalizationForm_C);
}

} // namespace brindlet
