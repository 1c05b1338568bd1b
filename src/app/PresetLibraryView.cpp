#include "PresetLibraryView.h"

#include "core/PresetLists.h"
#include "settings/SettingsStore.h"

namespace brindlet {

PresetLibraryView::PresetLibraryView(SettingsStore& settings, QObject* parent)
    : QObject(parent)
    , settings_(settings)
{
    connect(&settings_, &SettingsStore::customPresetsChanged, this, &PresetLibraryView::changed);
}

void PresetLibraryView::setSearch(const QString& value)
{
    search_ = value;
    emit changed();
}

QVariantList PresetLibraryView::presets() const
{
    QVariantList rows;
    for (const Preset& preset : matchingPresets(settings_.customPresets(), search_)) {
        rows.append(QVariantMap { { QStringLiteral("id"), preset.id.toString(QUuid::WithoutBraces) },
            { QStringLiteral("name"),
                preset.name.trimmed().isEmpty() ? QStringLiteral("Untitled Preset") : preset.name } });
    }
    return rows;
}

int PresetLibraryView::customCount() const
{
    return int(settings_.customPresets().size());
}

std::optional<Preset> PresetLibraryView::selected() const
{
    for (const Preset& preset : settings_.customPresets()) {
        if (preset.id == selected_)
            return preset;
    }
    return std::nullopt;
}

void PresetLibraryView::edit(const std::function<void(Preset&)>& change)
{
    QList<Preset> presets = settings_.customPresets();
    for (Preset& preset : presets) {
        if (preset.id == selected_) {
            change(preset);
            settings_.setCustomPresets(presets); // every edit is saved at once
            return;
        }
    }
}

void PresetLibraryView::setName(const QString& value)
{
    edit([&value](Preset& preset) { preset.name = value; });
}

void PresetLibraryView::setInstruction(const QString& value)
{
    edit([&value](Preset& preset) { preset.instruction = value; });
}

int PresetLibraryView::input() const
{
    const auto preset = selected();
    return preset
        ? int(std::find(allPresetInputs.begin(), allPresetInputs.end(), preset->input) - allPresetInputs.begin())
        : 0;
}

void PresetLibraryView::setInput(int index)
{
    if (index >= 0 && index < int(allPresetInputs.size()))
        edit([index](Preset& preset) { preset.input = allPresetInputs[std::size_t(index)]; });
}

int PresetLibraryView::delivery() const
{
    const auto preset = selected();
    return preset ? int(std::find(allDeliveryPreferences.begin(), allDeliveryPreferences.end(), preset->delivery)
               - allDeliveryPreferences.begin())
                  : 0;
}

void PresetLibraryView::setDelivery(int index)
{
    if (index >= 0 && index < int(allDeliveryPreferences.size()))
        edit([index](Preset& preset) { preset.delivery = allDeliveryPreferences[std::size_t(index)]; });
}

void PresetLibraryView::select(const QString& id)
{
    selected_ = QUuid::fromString(id);
    emit changed();
}

void PresetLibraryView::addPreset()
{
    const Preset preset { QUuid::createUuid(), QStringLiteral("New Preset"), QStringLiteral("wand.and.stars"),
        QStringLiteral("Describe what Brindlet should do."), PresetInput::selectionOptional, DeliveryPreference::smart,
        false };
    search_.clear();
    selected_ = preset.id;
    settings_.setCustomPresets(settings_.customPresets() << preset);
}

void PresetLibraryView::remove(const QString& id)
{
    settings_.removeCustomPreset(QUuid::fromString(id));
    emit changed();
}

} // namespace brindlet
