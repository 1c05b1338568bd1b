#include "PresetLists.h"

namespace brindlet {

bool isPresetApplicable(const Preset& preset, bool hasText)
{
    if (hasText)
        return !preset.isBuiltIn || preset.input != PresetInput::newContent;
    return preset.input != PresetInput::selectionRequired;
}

QList<Preset> availablePresets(const QList<Preset>& all, bool hasText)
{
    QList<Preset> kept;
    for (const Preset& preset : all) {
        if (isPresetApplicable(preset, hasText))
            kept.append(preset);
    }
    return kept;
}

QList<Preset> primaryPresets(const QList<Preset>& all, bool hasText)
{
    static const QStringList withText { QStringLiteral("Fix Writing"), QStringLiteral("Rewrite"),
        QStringLiteral("Summarize") };
    static const QStringList withoutText { QStringLiteral("Write") };
    QList<Preset> primary;
    for (const QString& name : hasText ? withText : withoutText) {
        for (const Preset& preset : all) {
            if (preset.isBuiltIn && preset.name == name) {
                primary.append(preset);
                if (hasText)
                    break; // with text, the first of each name
            }
        }
    }
    return primary;
}

QList<Preset> secondaryPresets(const QList<Preset>& all, bool hasText)
{
    const QList<Preset> primary = primaryPresets(all, hasText);
    QList<Preset> rest = availablePresets(all, hasText);
    rest.removeIf([&primary](const Preset& preset) {
        return std::any_of(primary.begin(), primary.end(), [&preset](const Preset& p) { return p.id == preset.id; });
    });
    return rest;
}

QList<Preset> matchingPresets(const QList<Preset>& presets, const QString& query)
{
    const QString needle = query.trimmed();
    if (needle.isEmpty())
        return presets;
    QList<Preset> found;
    for (const Preset& preset : presets) {
        if (preset.name.contains(needle, Qt::CaseInsensitive)
            || preset.instruction.contains(needle, Qt::CaseInsensitive))
            found.append(preset);
    }
    return found;
}

QList<Preset> visiblePresets(const QList<Preset>& all, bool hasText, const QString& query)
{
    if (query.trimmed().isEmpty())
        return secondaryPresets(all, hasText);
    return matchingPresets(availablePresets(all, hasText), query);
}

} // namespace brindlet
