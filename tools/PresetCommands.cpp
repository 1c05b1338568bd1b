#include "PresetCommands.h"

#include "settings/SettingsStore.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace brindlet {

namespace {

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

struct Refusal {
    QString message;
    int exitCode = exitFailure;
};

QString line(const Preset& preset)
{
    return QStringList { preset.name, preset.isBuiltIn ? QStringLiteral("built-in") : QStringLiteral("custom"),
        wireName(preset.input), wireName(preset.delivery), preset.instruction.simplified() }
               .join(QLatin1Char('\t'))
        + QLatin1Char('\n');
}

template <typename Value>
Value choice(const QString& word, std::optional<Value> (*fromWord)(const QString&), const QString& what,
    const QStringList& words)
{
    if (const auto value = fromWord(word))
        return *value;
    throw Refusal { QStringLiteral("\"%1\" is no %2; use %3.").arg(word, what, words.join(QStringLiteral(", "))),
        exitUsage };
}

QStringList inputWords()
{
    QStringList words;
    for (const PresetInput input : allPresetInputs)
        words << wireName(input);
    return words;
}

QStringList deliveryWords()
{
    QStringList words;
    for (const DeliveryPreference delivery : allDeliveryPreferences)
        words << wireName(delivery);
    return words;
}

// One record of an imported file. Name and instruction are required; the rest defaults as a
// preset made in the application would.
Preset importedPreset(const QJsonValue& value, qsizetype number)
{
    const QString where = QStringLiteral("Preset %1 of the file").arg(number);
    if (!value.isObject())
        throw Refusal { where + QStringLiteral(" is not an object.") };
    const QJsonObject object = value.toObject();
    Preset preset;
    preset.name = object.value(u"name").toString().trimmed();
    if (preset.name.isEmpty())
        throw Refusal { where + QStringLiteral(" has no name.") };
    const QString named = QStringLiteral("Preset \"%1\"").arg(preset.name);
    preset.instruction = object.value(u"instruction").toString().trimmed();
    if (preset.instruction.isEmpty())
        throw Refusal { named + QStringLiteral(" has no instruction.") };
    preset.id = object.contains(u"id") ? QUuid::fromString(object.value(u"id").toString()) : QUuid::createUuid();
    if (preset.id.isNull())
        throw Refusal { named + QStringLiteral(" has an id that is not a UUID.") };
    preset.systemImage = object.value(u"systemImage").toString(QStringLiteral("wand.and.stars"));
    if (object.contains(u"input"))
        preset.input = choice(object.value(u"input").toString(), presetInputFromWireName,
            QStringLiteral("input of ") + named, inputWords());
    if (object.contains(u"delivery"))
        preset.delivery = choice(object.value(u"delivery").toString(), deliveryPreferenceFromWireName,
            QStringLiteral("delivery of ") + named, deliveryWords());
    const bool claimsBuiltIn = object.value(u"isBuiltIn").toBool(false);
    const bool hasBuiltInID = std::any_of(Preset::builtIns().begin(), Preset::builtIns().end(),
        [&preset](const Preset& builtIn) { return builtIn.id == preset.id; });
    if (claimsBuiltIn || hasBuiltInID)
        throw Refusal { named + QStringLiteral(" claims to be built in; only custom presets can be imported.") };
    return preset;
}

QString described(const QString& source)
{
    return source == u"-" ? QStringLiteral("Standard input") : source;
}

QByteArray readFile(const QString& source)
{
    QFile file;
    const bool opened = source == u"-" ? file.open(stdin, QIODevice::ReadOnly)
                                       : (file.setFileName(source), file.open(QIODevice::ReadOnly));
    if (!opened)
        throw Refusal { QStringLiteral("Cannot read %1: %2").arg(source, file.errorString()) };
    return file.readAll();
}

// Presets in the file take the place of stored ones with their id and follow the others.
QString import(const QString& source, SettingsStore& settings)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(readFile(source), &parseError);
    if (parseError.error != QJsonParseError::NoError)
        throw Refusal { QStringLiteral("%1 is not JSON: %2.").arg(described(source), parseError.errorString()) };
    if (!document.isArray())
        throw Refusal { QStringLiteral("%1 is not a list of presets: it should be a JSON array, as presets export "
                                       "writes.")
                            .arg(described(source)) };
    QList<Preset> stored = settings.customPresets();
    int added = 0;
    int updated = 0;
    const QJsonArray records = document.array();
    for (qsizetype i = 0; i < records.size(); ++i) {
        const Preset preset = importedPreset(records.at(i), i + 1);
        const auto same = std::find_if(
            stored.begin(), stored.end(), [&preset](const Preset& existing) { return existing.id == preset.id; });
        if (same != stored.end()) {
            *same = preset;
            ++updated;
        } else {
            stored.append(preset);
            ++added;
        }
    }
    settings.setCustomPresets(stored);
    return QStringLiteral("Imported %1 presets: %2 new, %3 updated.\n").arg(added + updated).arg(added).arg(updated);
}

QString remove(const QString& name, SettingsStore& settings)
{
    QList<Preset> named;
    for (const Preset& preset : settings.customPresets()) {
        if (preset.name == name)
            named.append(preset);
    }
    if (named.size() > 1)
        throw Refusal { QStringLiteral("%1 custom presets are named \"%2\"; nothing was removed. Rename one in "
                                       "Brindlet's settings first.")
                            .arg(named.size())
                            .arg(name) };
    if (named.isEmpty()) {
        if (Preset::builtIn(name))
            throw Refusal { QStringLiteral("\"%1\" is built in and cannot be removed.").arg(name) };
        throw Refusal { QStringLiteral("No custom preset is named \"%1\".").arg(name) };
    }
    settings.removeCustomPreset(named.constFirst().id);
    return QStringLiteral("Removed \"%1\".\n").arg(name);
}

QString add(const QCommandLineParser& parser, SettingsStore& settings)
{
    Preset preset;
    preset.id = QUuid::createUuid();
    preset.name = parser.value(QStringLiteral("name")).trimmed();
    preset.instruction = parser.value(QStringLiteral("instruction")).trimmed();
    if (preset.name.isEmpty())
        throw Refusal { QStringLiteral("presets add needs --name with a name that is not blank."), exitUsage };
    if (preset.instruction.isEmpty())
        throw Refusal { QStringLiteral("presets add needs --instruction saying what the preset does."), exitUsage };
    preset.systemImage = parser.value(QStringLiteral("image"));
    if (preset.systemImage.isEmpty())
        preset.systemImage = QStringLiteral("wand.and.stars");
    if (parser.isSet(QStringLiteral("input")))
        preset.input = choice(
            parser.value(QStringLiteral("input")), presetInputFromWireName, QStringLiteral("input"), inputWords());
    if (parser.isSet(QStringLiteral("delivery")))
        preset.delivery = choice(parser.value(QStringLiteral("delivery")), deliveryPreferenceFromWireName,
            QStringLiteral("delivery"), deliveryWords());
    settings.setCustomPresets(settings.customPresets() << preset);
    return QStringLiteral("Added \"%1\".\n").arg(preset.name);
}

} // namespace

PresetCommandOutcome runPresetsCommand(
    const QStringList& arguments, const QCommandLineParser& parser, SettingsStore& settings)
{
    const QString action = arguments.value(0);
    const QHash<QString, qsizetype> argumentCounts { { QStringLiteral("list"), 1 }, { QStringLiteral("add"), 1 },
        { QStringLiteral("remove"), 2 }, { QStringLiteral("export"), 1 }, { QStringLiteral("import"), 2 } };
    if (argumentCounts.value(action, -1) != arguments.size())
        return { exitUsage, QString(),
            QStringLiteral("use presets list | add --name NAME --instruction TEXT | remove NAME | export | import "
                           "FILE|-.") };
    try {
        if (action == u"list") {
            QString out;
            for (const Preset& preset : Preset::builtIns() + settings.customPresets())
                out += line(preset);
            return { 0, out, QString() };
        }
        if (action == u"export")
            return { 0, QString::fromUtf8(encodePresets(settings.customPresets())) + QLatin1Char('\n'), QString() };
        if (action == u"add")
            return { 0, add(parser, settings), QString() };
        if (action == u"remove")
            return { 0, remove(arguments.at(1), settings), QString() };
        return { 0, import(arguments.at(1), settings), QString() };
    } catch (const Refusal& refusal) {
        return { refusal.exitCode, QString(), refusal.message };
    }
}

} // namespace brindlet
