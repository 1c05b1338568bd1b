// Which presets are offered, what choosing one does, and making one, against the model.

#include "core/PresetLists.h"
#include "support/AppModelHarness.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

Preset custom(const QString& name, const QString& instruction, PresetInput input)
{
    return { QUuid::createUuid(), name, u"wand.and.stars"_qs, instruction, input, DeliveryPreference::smart, false };
}

QStringList names(const QList<Preset>& presets)
{
    QStringList all;
    for (const Preset& preset : presets)
        all << preset.name;
    return all;
}

struct ListCase : NamedRow {
    bool hasText;
    QString query;
    QStringList primary;
    QStringList visible;
};

class PresetLists : public ::testing::TestWithParam<ListCase> { };

TEST_P(PresetLists, OfferWhatAppliesInTheDesignsOrder)
{
    const QList<Preset> all = Preset::builtIns()
        + QList<Preset> { custom(u"Pirate"_qs, u"Talk like a sailor"_qs, PresetInput::selectionRequired),
              custom(u"Fresh"_qs, u"Start a letter"_qs, PresetInput::newContent) };
    const ListCase& c = GetParam();
    EXPECT_EQ(names(primaryPresets(all, c.hasText)), c.primary);
    EXPECT_EQ(names(visiblePresets(all, c.hasText, c.query)), c.visible);
}

const QStringList withTextPrimary { u"Fix Writing"_qs, u"Rewrite"_qs, u"Summarize"_qs };

BRINDLET_ROWS(Table, PresetLists,
    ListCase {
        "withText", true, QString(), withTextPrimary, { u"Explain"_qs, u"Translate"_qs, u"Pirate"_qs, u"Fresh"_qs } },
    // A search also finds the primary presets; blanks are no search.
    ListCase { "searchFindsPrimary", true, u"fix"_qs, withTextPrimary, { u"Fix Writing"_qs } },
    ListCase { "blankQuery", true, u"  \n"_qs, withTextPrimary,
        { u"Explain"_qs, u"Translate"_qs, u"Pirate"_qs, u"Fresh"_qs } },
    ListCase { "matchesInstruction", true, u"SAILOR"_qs, withTextPrimary, { u"Pirate"_qs } },
    ListCase { "withoutText", false, QString(), { u"Write"_qs }, { u"Fresh"_qs } },
    ListCase { "searchWithoutText", false, u"e"_qs, { u"Write"_qs }, { u"Write"_qs, u"Fresh"_qs } });

class PresetChoice : public ModelTest {
protected:
    Preset builtIn(const char* name) { return *Preset::builtIn(QString::fromUtf8(name)); }
};

TEST_F(PresetChoice, RunsAPlainActionOnSelectedTextAtOnceAndOtherwiseSaysWhatIsMissing)
{
    struct Case {
        std::optional<QString> text;
        const char* preset;
        QString instruction;
        QString workingText; // replaces the captured text when set
        std::optional<QString> status;
        bool generates;
    };
    const QString noChange = u"\x01"_qs;
    const Case cases[] = {
        { u"Some text"_qs, "Summarize", QString(), noChange, std::nullopt, true },
        { u"Some text"_qs, "Translate", QString(), noChange, u"Enter the target language, then generate."_qs, false },
        { u"Some text"_qs, "Translate", u"French"_qs, noChange, std::nullopt, false },
        { std::nullopt, "Fix Writing", QString(), noChange, u"Select text in another app, then choose this action."_qs,
            false },
        { u"Some text"_qs, "Fix Writing", QString(), u"  "_qs,
            u"Add source text or revert to the captured selection."_qs, false },
        { std::nullopt, "Write", QString(), noChange, std::nullopt, false },
    };
    for (const Case& c : cases) {
        const size_t before = h.provider.generations.size();
        h.openHUD(c.text);
        model.setInstruction(c.instruction);
        if (c.workingText != noChange)
            model.setWorkingSourceText(c.workingText);
        model.chooseHUDPreset(builtIn(c.preset));
        SCOPED_TRACE(c.preset);
        EXPECT_EQ(model.selectedPreset(), builtIn(c.preset));
        EXPECT_EQ(model.statusMessage(), c.status);
        drainEvents();
        EXPECT_EQ(h.provider.generations.size() > before, c.generates);
        EXPECT_EQ(model.quickHUDPhase(), c.generates ? QuickHUDPhase::generating : QuickHUDPhase::compose);
        model.dismissQuickHUD();
    }
}

TEST_F(PresetChoice, TheHUDEditorSavesOnlyANamedPresetWithAnInstruction)
{
    h.openHUD(u"Some text"_qs);
    model.toggleMoreActions();
    model.openQuickPresetEditor();
    model.setQuickPresetName(u"  "_qs);
    model.setQuickPresetInstruction(u"Shout it"_qs);
    model.saveQuickPreset();
    EXPECT_EQ(model.statusMessage(), u"Give the preset a short name."_qs);
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::presetEditor);
    EXPECT_EQ(model.quickPresetInstruction(), u"Shout it"_qs); // what was typed stays
    EXPECT_TRUE(h.settings.customPresets().isEmpty());

    // Two presets of one name are both kept; one saved over a selection needs a selection.
    for (int i = 0; i < 2; ++i) {
        model.setQuickPresetName(u" Loud "_qs);
        model.setQuickPresetInstruction(u"Shout it"_qs);
        model.saveQuickPreset();
        EXPECT_EQ(model.statusMessage(), u"Preset saved."_qs);
        EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::moreActions);
        model.openQuickPresetEditor();
    }
    const QList<Preset> saved = h.settings.customPresets();
    ASSERT_EQ(saved.size(), 2);
    EXPECT_EQ(saved[0].name, u"Loud"_qs);
    EXPECT_EQ(saved[0].input, PresetInput::selectionRequired);
    EXPECT_EQ(saved[0].delivery, DeliveryPreference::smart);
    EXPECT_EQ(model.selectedPreset(), saved[1]);
    EXPECT_EQ(h.analytics.typeNames().count(u"PRESET_CREATED"_qs), 2);
    EXPECT_EQ(h.analytics.events.back().dimensions.surface, u"quick_hud"_qs);
}

TEST_F(PresetChoice, ACommandAfterTheSelectedPresetIsDeletedRunsWithoutIt)
{
    h.openHUD(u"Some text"_qs);
    const auto preset = model.createPreset(
        u"Pirate"_qs, u"Talk like a sailor"_qs, PresetInput::selectionOptional, DeliveryPreference::smart);
    ASSERT_TRUE(preset);
    h.settings.removeCustomPreset(preset->id);
    EXPECT_FALSE(model.selectedPreset());
    const auto generation = h.generate(u"shorter"_qs);
    ASSERT_TRUE(generation);
    EXPECT_FALSE(generation->prompt.contains(u"sailor"_qs));
}

} // namespace
