#pragma once

#include "Enums.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

#include <array>
#include <optional>

namespace brindlet {

inline constexpr std::array<PresetInput, 3> allPresetInputs { PresetInput::selectionRequired,
    PresetInput::selectionOptional, PresetInput::newContent };

inline constexpr std::array<DeliveryPreference, 4> allDeliveryPreferences { DeliveryPreference::smart,
    DeliveryPreference::replace, DeliveryPreference::insert, DeliveryPreference::copy };

// Persisted forms are the case names.
QString wireName(PresetInput input);
QString wireName(DeliveryPreference delivery);
std::optional<PresetInput> presetInputFromWireName(const QString& name);
std::optional<DeliveryPreference> deliveryPreferenceFromWireName(const QString& name);

struct Preset {
    Q_GADGET
    Q_PROPERTY(QUuid id MEMBER id)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString systemImage MEMBER systemImage)
    Q_PROPERTY(QString instruction MEMBER instruction)
    Q_PROPERTY(brindlet::PresetInput input MEMBER input)
    Q_PROPERTY(brindlet::DeliveryPreference delivery MEMBER delivery)
    Q_PROPERTY(bool isBuiltIn MEMBER isBuiltIn)

public:
    QUuid id;
    QString name;
    QString systemImage;
    QString instruction;
    PresetInput input = PresetInput::selectionOptional;
    DeliveryPreference delivery = DeliveryPreference::smart;
    bool isBuiltIn = false;

    friend bool operator==(const Preset&, const Preset&) = default;

    // The six built-ins, in their fixed order. Their names are part of the contract.
    static const QList<Preset>& builtIns();
    static const QUuid translateID;
    // The built-in with exactly this name, if any.
    static std::optional<Preset> builtIn(const QString& name);

    // The persisted object: exactly the seven keys, in field order.
    QByteArray toJson() const;
    // Strict: every key required, unknown input or delivery words rejected.
    static std::optional<Preset> fromJsonObject(const QJsonObject& object);
};

size_t qHash(const Preset& preset, size_t seed = 0);

// A JSON array of presets in the persisted form, and its strict reading: one bad record fails
// the whole list.
QByteArray encodePresets(const QList<Preset>& presets);
std::optional<QList<Preset>> decodePresets(const QByteArray& json);

} // namespace brindlet
