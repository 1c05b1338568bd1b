// A separate process over the real defaults file, so that tests can restart "the program":
//   settings_probe dump                 prints the loaded settings as JSON
//   settings_probe set FIELD VALUE      sets one setting through SettingsStore
//   settings_probe hammer PREFIX COUNT  writes COUNT keys PREFIX0.. through the raw store
// The file is the standard one, under $XDG_CONFIG_HOME.

#include "settings/JsonFileDefaultsStore.h"
#include "settings/SettingsStore.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

using namespace brindlet;

namespace {

QJsonValue shortcutJson(const std::optional<HotKeyShortcut>& shortcut)
{
    return shortcut ? QJsonValue(shortcut->displayText()) : QJsonValue(QStringLiteral("cleared"));
}

QJsonObject dump(const SettingsStore& settings)
{
    QJsonArray presets;
    for (const Preset& preset : settings.customPresets())
        presets.append(preset.name);
    return {
        { QStringLiteral("defaultProvider"), wireName(settings.defaultProvider()) },
        { QStringLiteral("ollamaURL"), settings.ollamaURL() },
        { QStringLiteral("ollamaModel"), settings.ollamaModel() },
        { QStringLiteral("keepRunningAfterDockQuit"), settings.keepRunningAfterDockQuit() },
        { QStringLiteral("showSelectionBubble"), settings.showSelectionBubble() },
        { QStringLiteral("analyticsEnabled"), settings.analyticsEnabled() },
        { QStringLiteral("hasCompletedOnboarding"), settings.hasCompletedOnboarding() },
        { QStringLiteral("customPresets"), presets },
        { QStringLiteral("quickCommandShortcut"), shortcutJson(settings.shortcut(GlobalHotKeyAction::quickCommand)) },
        { QStringLiteral("quickFixShortcut"), shortcutJson(settings.shortcut(GlobalHotKeyAction::quickFix)) },
        { QStringLiteral("openWorkspaceShortcut"), shortcutJson(settings.shortcut(GlobalHotKeyAction::openWorkspace)) },
    };
}

bool set(SettingsStore& settings, const QString& field, const QString& value)
{
    const bool on = value == QLatin1String("true");
    if (field == QLatin1String("defaultProvider"))
        settings.setDefaultProvider(providerKindFromWireName(value).value_or(ProviderKind::ollama));
    else if (field == QLatin1String("ollamaURL"))
        settings.setOllamaURL(value);
    else if (field == QLatin1String("ollamaModel"))
        settings.setOllamaModel(value);
    else if (field == QLatin1String("analyticsEnabled"))
        settings.setAnalyticsEnabled(on);
    else if (field == QLatin1String("hasCompletedOnboarding"))
        settings.setHasCompletedOnboarding(on);
    else if (field == QLatin1String("quickFixShortcut"))
        settings.setShortcut(GlobalHotKeyAction::quickFix, std::nullopt); // only clearing is needed
    else if (field == QLatin1String("customPreset"))
        settings.setCustomPresets(
            settings.customPresets() << Preset { QUuid::createUuid(), value, QStringLiteral("star"),
                QStringLiteral("Do it."), PresetInput::selectionOptional, DeliveryPreference::smart, false });
    else
        return false;
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments().mid(1);
    JsonFileDefaultsStore defaults;
    if (args.value(0) == QLatin1String("hammer") && args.size() == 3) {
        for (int i = 0; i < args[2].toInt(); ++i)
            defaults.setObject(DefaultsValue(qint64(i)), args[1] + QString::number(i));
        return 0;
    }
    SettingsStore settings(defaults);
    if (args.value(0) == QLatin1String("dump") && args.size() == 1) {
        std::fputs(QJsonDocument(dump(settings)).toJson(QJsonDocument::Compact).constData(), stdout);
        return 0;
    }
    if (args.value(0) == QLatin1String("set") && args.size() == 3 && set(settings, args[1], args[2]))
        return 0;
    std::fputs("usage: settings_probe dump | set FIELD VALUE | hammer PREFIX COUNT\n", stderr);
    return 2;
}
