#include "settings/SettingsStore.h"
#include "settings/InMemoryDefaultsStore.h"
#include "support/Printers.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace brindlet;

namespace {

// Defaults are read, never written: a first start leaves the file alone. (The application's tests
// press the default chords.)
TEST(SettingsStore, EmptyStoreGivesDefaultsAndStaysEmpty)
{
    InMemoryDefaultsStore store;
    SettingsStore settings(store);
    EXPECT_EQ(settings.defaultProvider(), ProviderKind::ollama);
    EXPECT_TRUE(settings.keepRunningAfterDockQuit() && settings.showSelectionBubble() && settings.analyticsEnabled());
    EXPECT_FALSE(settings.hasCompletedOnboarding());
    EXPECT_EQ(store.writes(), 0);
}

TEST(SettingsStore, AnyChangeAnnouncesAndRewritesTheWholeSetOnce)
{
    InMemoryDefaultsStore store;
    store.apply({ { u"analytics.installID"_qs, DefaultsValue(u"another owner's"_qs) } });
    SettingsStore settings(store);
    QSignalSpy spy(&settings, &SettingsStore::ollamaModelChanged);
    settings.setOllamaModel(u"llama3.2"_qs);
    settings.setOllamaModel(u"llama3.2"_qs); // an equal value still announces and saves
    EXPECT_EQ(spy.count(), 2);
    EXPECT_EQ(store.writes(), 3); // the test's own write first
    // The whole set, eleven keys, beside another owner's key (the repair table reads each by name).
    EXPECT_EQ(store.keys().size(), 12);
    EXPECT_EQ(store.stringForKey(u"analytics.installID"_qs), u"another owner's"_qs);
    EXPECT_EQ(store.dataForKey(u"quickCommandShortcut"_qs),
        QByteArray("{\"shortcut\":{\"keyCode\":49,\"modifiers\":12,\"keyLabel\":\"Space\"}}"));
    EXPECT_EQ(store.dataForKey(u"customPresets"_qs), QByteArray("[]"));
    EXPECT_EQ(booleanValue(store.objectForKey(u"hasCompletedOnboarding"_qs)), false);

    QSignalSpy cleared(&settings, &SettingsStore::quickFixShortcutChanged);
    settings.setQuickFixShortcut(std::nullopt);
    EXPECT_EQ(cleared.count(), 1);
    EXPECT_EQ(store.dataForKey(u"quickFixShortcut"_qs), QByteArray("{}"));
}

struct RepairCase : NamedRow {
    QString key;
    DefaultsValue stored;
    std::function<bool(const SettingsStore&)> loadedAsExpected;
};

class SettingsRepair : public ::testing::TestWithParam<RepairCase> { };

TEST_P(SettingsRepair, LoadsTheRepairedValueWithoutWriting)
{
    InMemoryDefaultsStore store;
    store.apply({ { GetParam().key, GetParam().stored } });
    SettingsStore settings(store);
    EXPECT_TRUE(GetParam().loadedAsExpected(settings));
    EXPECT_EQ(store.writes(), 1); // only the test's own write
    EXPECT_EQ(store.objectForKey(GetParam().key), GetParam().stored);
}

const auto quickFix = [](const SettingsStore& s) { return s.shortcut(GlobalHotKeyAction::quickFix); };

BRINDLET_ROWS(Settings, SettingsRepair,
    RepairCase { "unknownProvider", u"defaultProvider"_qs, DefaultsValue(u"openai"_qs),
        [](const auto& s) { return s.defaultProvider() == ProviderKind::ollama; } },
    RepairCase { "knownProvider", u"defaultProvider"_qs, DefaultsValue(u"gemini"_qs),
        [](const auto& s) { return s.defaultProvider() == ProviderKind::gemini; } },
    RepairCase { "providerOfWrongType", u"defaultProvider"_qs, DefaultsValue(true),
        [](const auto& s) { return s.defaultProvider() == ProviderKind::ollama; } },
    RepairCase { "booleanAsString", u"analyticsEnabled"_qs, DefaultsValue(u"no"_qs),
        [](const auto& s) { return s.analyticsEnabled(); } },
    RepairCase { "storedFalse", u"analyticsEnabled"_qs, DefaultsValue(false),
        [](const auto& s) { return !s.analyticsEnabled(); } },
    RepairCase { "integerZeroIsFalse", u"showSelectionBubble"_qs, DefaultsValue(qint64(0)),
        [](const auto& s) { return !s.showSelectionBubble(); } },
    RepairCase { "integerTwoIsNotABoolean", u"hasCompletedOnboarding"_qs, DefaultsValue(qint64(2)),
        [](const auto& s) { return !s.hasCompletedOnboarding(); } },
    RepairCase { "urlOfWrongType", u"ollamaURL"_qs, DefaultsValue(2.5),
        [](const auto& s) { return s.ollamaURL() == u"http://127.0.0.1:11434"_qs; } },
    RepairCase { "clearedShortcut", u"quickFixShortcut"_qs, DefaultsValue(QByteArray("{}")),
        [](const auto& s) { return !quickFix(s); } },
    RepairCase { "nullShortcutIsCleared", u"quickFixShortcut"_qs, DefaultsValue(QByteArray("{\"shortcut\":null}")),
        [](const auto& s) { return !quickFix(s); } },
    RepairCase { "shortcutNotJson", u"quickFixShortcut"_qs, DefaultsValue(QByteArray("garbage")),
        [](const auto& s) { return quickFix(s) == SettingsStore::defaultShortcut(GlobalHotKeyAction::quickFix); } },
    RepairCase { "shortcutMissingLabel", u"quickFixShortcut"_qs,
        DefaultsValue(QByteArray("{\"shortcut\":{\"keyCode\":1,\"modifiers\":8}}")),
        [](const auto& s) { return quickFix(s) == SettingsStore::defaultShortcut(GlobalHotKeyAction::quickFix); } },
    RepairCase { "shortcutAsString", u"quickFixShortcut"_qs, DefaultsValue(u"{}"_qs),
        [](const auto& s) { return quickFix(s) == SettingsStore::defaultShortcut(GlobalHotKeyAction::quickFix); } },
    RepairCase { "storedShortcut", u"quickFixShortcut"_qs,
        DefaultsValue(QByteArray("{\"shortcut\":{\"keyCode\":0,\"modifiers\":10,\"keyLabel\":\"A\"}}")),
        [](const auto& s) { return quickFix(s)->displayText() == u"⌥⌘A"_qs; } });

TEST(SettingsStore, MalformedPresetsAreOverwrittenByTheNextSave)
{
    InMemoryDefaultsStore store;
    store.apply({ { u"customPresets"_qs, DefaultsValue(QByteArray("[{\"name\":\"half\"}]")) },
        { u"defaultProvider"_qs, DefaultsValue(u"openai"_qs) } });
    SettingsStore settings(store);
    settings.setAnalyticsEnabled(false);
    EXPECT_EQ(store.dataForKey(u"customPresets"_qs), QByteArray("[]"));
    EXPECT_EQ(store.stringForKey(u"defaultProvider"_qs), u"ollama"_qs);
}

TEST(SettingsStore, RemovingAPresetKeepsTheOrderOfTheRest)
{
    InMemoryDefaultsStore store;
    SettingsStore settings(store);
    QList<Preset> presets;
    for (const char* name : { "A", "B", "C" })
        presets.append({ QUuid::createUuid(), QString::fromLatin1(name), u"star"_qs, u"x"_qs, PresetInput::newContent,
            DeliveryPreference::copy, false });
    settings.setCustomPresets(presets);
    settings.removeCustomPreset(QUuid::createUuid());
    EXPECT_EQ(settings.customPresets(), presets);
    EXPECT_EQ(store.writes(), 2); // an unknown id still saves
    settings.removeCustomPreset(presets[1].id);
    EXPECT_EQ(settings.customPresets(), (QList<Preset> { presets[0], presets[2] }));
    EXPECT_EQ(decodePresets(*store.dataForKey(u"customPresets"_qs)), settings.customPresets());
}

} // namespace
