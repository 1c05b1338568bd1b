#include "Preset.h"

#include "JsonWriter.h"

#include <QHashFunctions>
#include <QJsonArray>
#include <QJsonDocument>

namespace brindlet {

QString wireName(PresetInput input)
{
    switch (input) {
    case PresetInput::selectionRequired: return QStringLiteral("selectionRequired");
    case PresetInput::selectionOptional: return QStringLiteral("selectionOptional");
    case PresetInput::newContent: return QStringLiteral("newContent");
    }
    return {};
}

QString wireName(DeliveryPreference delivery)
{
    switch (delivery) {
    case DeliveryPreference::smart: return QStringLiteral("smart");
    case DeliveryPreference::replace: return QStringLiteral("replace");
    case DeliveryPreference::insert: return QStringLiteral("insert");
    case DeliveryPreference::copy: return QStringLiteral("copy");
    }
    return {};
}

std::optional<PresetInput> presetInputFromWireName(const QString& name)
{
    for (PresetInput input : allPresetInputs) {
        if (wireName(input) == name)
            return input;
    }
    return std::nullopt;
}

std::optional<DeliveryPreference> deliveryPreferenceFromWireName(const QString& name)
{
    for (DeliveryPreference delivery : allDeliveryPreferences) {
        if (wireName(delivery) == name)
            return delivery;
    }
    return std::nullopt;
}

const QUuid Preset::translateID { QStringLiteral("B68F76DF-68AE-4F88-BC5A-582C8D316006") };

const QList<Preset>& Preset::builtIns()
{
    static const QList<Preset> presets = [] {
        auto make = [](const char* id, const char* name, const char* image, const char* instruction, PresetInput input,
                        DeliveryPreference delivery) {
            return Preset { QUuid(QLatin1String(id)), QString::fromUtf8(name), QString::fromUtf8(image),
                QString::fromUtf8(instruction), input, delivery, true };
        };
        using enum PresetInput;
        using enum DeliveryPreference;
        return QList<Preset> {
            make("B68F76DF-68AE-4F88-BC5A-582C8D316001", "Write", "square.and.pencil",
                "Write polished content that follows the request. Return only content ready to use.", newContent,
                insert),
            make("B68F76DF-68AE-4F88-BC5A-582C8D316002", "Summarize", "text.alignleft",
                "Summarize the selected text accurately and concisely while preserving the important facts.",
                selectionRequired, copy),
            make("B68F76DF-68AE-4F88-BC5A-582C8D316003", "Fix Writing", "checkmark.seal",
                "Correct grammar, spelling, punctuation, and awkward wording without changing the meaning.",
                selectionRequired, smart),
            make("B68F76DF-68AE-4F88-BC5A-582C8D316004", "Rewrite", "arrow.triangle.2.circlepath",
                "Rewrite the selected text according to the request while preserving its essential meaning.",
                selectionRequired, smart),
            make("B68F76DF-68AE-4F88-BC5A-582C8D316005", "Explain", "lightbulb",
                "Explain the selected text clearly for the intended audience.", selectionRequired, copy),
            make("B68F76DF-68AE-4F88-BC5A-582C8D316006", "Translate", "character.bubble",
                "Translate the selected text into the requested language while preserving meaning and tone.",
                selectionRequired, smart),
        };
    }();
    return presets;
}

std::optional<Preset> Preset::builtIn(const QString& name)
{
    for (const Preset& preset : builtIns()) {
        if (preset.isBuiltIn && preset.name == name)
            return preset;
    }
    return std::nullopt;
}

QByteArray Preset::toJson() const
{
    JsonWriter writer;
    writer.beginObject();
    writer.key("id").string(id.toString(QUuid::WithoutBraces).toUpper());
    writer.key("name").string(name);
    writer.key("systemImage").string(systemImage);
    writer.key("instruction").string(instruction);
    writer.key("input").string(wireName(input));
    writer.key("delivery").string(wireName(delivery));
    writer.key("isBuiltIn").boolean(isBuiltIn);
    writer.endObject();
    return writer.take();
}

std::optional<Preset> Preset::fromJsonObject(const QJsonObject& object)
{
    const auto idValue = object.value(QStringLiteral("id"));
    const auto name = object.value(QStringLiteral("name"));
    const auto image = object.value(QStringLiteral("systemImage"));
    const auto instruction = object.value(QStringLiteral("instruction"));
    const auto inputValue = object.value(QStringLiteral("input"));
    const auto deliveryValue = object.value(QStringLiteral("delivery"));
    const auto builtIn = object.value(QStringLiteral("isBuiltIn"));
    if (!idValue.isString() || !name.isString() || !image.isString() || !instruction.isString()
        || !inputValue.isString() || !deliveryValue.isString() || !builtIn.isBool())
        return std::nullopt;
    // Only the standard textual form counts: no braces, no other shapes QUuid would accept.
    const QString idText = idValue.toString();
    const QUuid id(idText);
    if (idText.size() != 36 || id.isNull())
        return std::nullopt;
    const auto input = presetInputFromWireName(inputValue.toString());
    const auto delivery = deliveryPreferenceFromWireName(deliveryValue.toString());
    if (!input || !delivery)
        return std::nullopt;
    return Preset { id, name.toString(), image.toString(), instruction.toString(), *input, *delivery,
        builtIn.toBool() };
}

size_t qHash(const Preset& preset, size_t seed)
{
    return qHashMulti(seed, preset.id, preset.name, preset.systemImage, preset.instruction,
        static_cast<int>(preset.input), static_cast<int>(preset.delivery), preset.isBuiltIn);
}

QByteArray encodePresets(const QList<Preset>& presets)
{
    QByteArray out("[");
    for (qsizetype i = 0; i < presets.size(); ++i) {
        if (i > 0)
            out += ',';
        out += presets[i].toJson();
    }
    out += ']';
    return out;
}

std::optional<QList<Preset>> decodePresets(const QByteArray& json)
{
    QJsonParseError error {};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return std::nullopt;
    QList<Preset> presets;
    for (const QJsonValue& value : document.array()) {
        if (!value.isObject())
            return std::nullopt;
        auto preset = Preset::fromJsonObject(value.toObject());
        if (!preset)
            return std::nullopt;
        presets.append(*preset);
    }
    return presets;
}

} // namespace brindlet
