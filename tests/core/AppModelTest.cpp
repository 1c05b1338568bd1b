#include "domain/Prompt.h"
#include "providers/ProviderError.h"
#include "support/AppModelHarness.h"

#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

Preset customPreset(PresetInput input, const QString& instruction = u"Do the thing."_qs)
{
    return Preset { QUuid::createUuid(), u"Mine"_qs, u"star"_qs, instruction, input, DeliveryPreference::smart, false };
}

using AppModelGeneration = ModelTest;

// ---- refusals before a request exists ----

struct RefusalCase : NamedRow {
    std::optional<std::optional<QString>> selection; // outer nullopt: no snapshot; inner nullopt: cursor
    QString workingText; // replaces the working copy when a snapshot exists
    QString instruction;
    std::function<std::optional<Preset>()> preset;
    QString message;
};

class GenerateRefusals : public AppModelGeneration, public ::testing::WithParamInterface<RefusalCase> { };

TEST_P(GenerateRefusals, ChangeOnlyTheStatusMessage)
{
    const RefusalCase& c = GetParam();
    if (c.selection) {
        h.openHUD(*c.selection);
        if (c.selection->has_value())
            model.setWorkingSourceText(c.workingText);
    }
    model.setInstruction(c.instruction);
    const auto phaseBefore = model.quickHUDPhase();
    model.generate(c.preset());
    EXPECT_EQ(model.statusMessage(), c.message);
    EXPECT_FALSE(model.isGenerating());
    EXPECT_FALSE(model.activeGenerationID());
    EXPECT_EQ(model.quickHUDPhase(), phaseBefore);
    drainEvents();
    EXPECT_TRUE(h.provider.generations.empty());
}

const auto translate = [] { return Preset::builtIn(u"Translate"_qs); };
const auto summarize = [] { return Preset::builtIn(u"Summarize"_qs); };
const auto none = [] { return std::optional<Preset>(); };

BRINDLET_ROWS(AppModel, GenerateRefusals,
    // The language check comes first, even without any snapshot.
    RefusalCase { "translateWithoutDirection", std::nullopt, {}, u"  \n"_qs, translate,
        u"Enter the target language, then generate."_qs },
    RefusalCase { "selectionRequiredWithoutSnapshot", std::nullopt, {}, u"x"_qs, summarize,
        u"Select text in another app, then choose this action."_qs },
    RefusalCase { "selectionRequiredAtCursor", std::make_optional(std::optional<QString>()), {}, u""_qs, summarize,
        u"Select text in another app, then choose this action."_qs },
    RefusalCase { "sourceEmptiedByUser", std::make_optional(std::optional(u"Hello"_qs)), u"  \n "_qs, u""_qs, summarize,
        u"Add source text or revert to the captured selection."_qs },
    RefusalCase { "nothingToDo", std::make_optional(std::optional(u"Hello"_qs)), u"Hello"_qs, u"   "_qs, none,
        u"Describe what you want Brindlet to write or do."_qs },
    RefusalCase { "presetWithBlankInstruction", std::make_optional(std::optional(u"Hello"_qs)), u"Hello"_qs, u""_qs,
        [] { return std::optional(customPreset(PresetInput::selectionOptional, u"  "_qs)); },
        u"Describe what you want Brindlet to write or do."_qs });

TEST_F(AppModelGeneration, GenerateWhileGeneratingChangesNothing)
{
    model.setInstruction(u"Write a haiku"_qs);
    model.generate();
    ASSERT_TRUE(h.awaitGeneration());
    model.setStatusMessage(u"kept"_qs);
    const auto id = model.activeGenerationID();
    model.setInstruction(u""_qs);
    model.generate(translate());
    EXPECT_EQ(model.statusMessage(), u"kept"_qs);
    EXPECT_EQ(model.activeGenerationID(), id);
}

// ---- what a request carries ----

struct RequestCase : NamedRow {
    std::optional<std::optional<QString>> selection; // outer nullopt: no snapshot; inner nullopt: cursor
    std::optional<QString> editedText;
    std::function<std::optional<Preset>()> preset;
    bool expectBlock;
    QString expectedSelected;
    DeliveryPreference expectedDelivery;
};

class GenerateRequests : public AppModelGeneration, public ::testing::WithParamInterface<RequestCase> { };

TEST_P(GenerateRequests, CarryTheRightTextAndDelivery)
{
    const RequestCase& c = GetParam();
    if (c.selection)
        h.openHUD(*c.selection);
    if (c.editedText)
        model.setWorkingSourceText(*c.editedText);
    model.setInstruction(u" go "_qs);
    model.generate(c.preset());
    ASSERT_TRUE(model.isGenerating());
    const GenerationRequest request = *model.activeGenerationRequest();
    EXPECT_EQ(request.instruction, u"go"_qs);
    EXPECT_EQ(request.delivery, c.expectedDelivery);
    const std::optional<QString> selected = c.expectBlock ? std::optional(c.expectedSelected) : std::nullopt;
    EXPECT_EQ(request.prompt, assemblePrompt(u"go"_qs, c.preset(), selected));
    EXPECT_EQ(request.prompt.contains(u"Selected text is the string value"_qs), c.expectBlock);
    auto generation = h.awaitGeneration();
    ASSERT_TRUE(generation);
    EXPECT_EQ(generation->prompt, request.prompt);
}

const auto write = [] { return Preset::builtIn(u"Write"_qs); };
const auto optionalPreset = [] { return std::optional(customPreset(PresetInput::selectionOptional)); };

BRINDLET_ROWS(AppModel, GenerateRequests,
    RequestCase { "noPresetOverSelection", std::optional<QString>(u"Hello"_qs), std::nullopt, none, true, u"Hello"_qs,
        DeliveryPreference::replace },
    RequestCase { "editedSourceIsSent", std::optional<QString>(u"Hello"_qs), u"Hello, edited"_qs, none, true,
        u"Hello, edited"_qs, DeliveryPreference::replace },
    RequestCase { "emptiedSourceSendsEmptyString", std::optional<QString>(u"Hello"_qs), u""_qs, none, true, u""_qs,
        DeliveryPreference::replace },
    RequestCase { "optionalPresetWithoutSnapshot", std::nullopt, std::nullopt, optionalPreset, false, {},
        DeliveryPreference::copy },
    RequestCase { "optionalPresetAtCursor", std::optional<QString>(), std::nullopt, optionalPreset, false, {},
        DeliveryPreference::insert },
    RequestCase { "newContentOverSelectionSendsNoBlock", std::optional<QString>(u"Hello"_qs), std::nullopt, write,
        false, {}, DeliveryPreference::copy });

// ---- the life of a generation ----

TEST_F(AppModelGeneration, SuccessStreamsPreviewsThenSetsResultBeforeIdle)
{
    h.openHUD(u"Helo wrld"_qs);
    model.setInstruction(u"fix"_qs);
    model.generate();
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::generating);
    auto generation = h.awaitGeneration();

    generation->preview(u"Hel"_qs);
    generation->preview(u"Hello"_qs);
    EXPECT_EQ(model.generationPreview(), u"Hello"_qs);
    EXPECT_TRUE(model.result().isEmpty());

    // A surface never sees an idle model without its result.
    QString resultWhenIdle;
    QObject::connect(&model, &AppModel::isGeneratingChanged, [&] {
        if (!model.isGenerating())
            resultWhenIdle = model.result();
    });
    h.clock.advance(2500ms);
    generation->finish(u"Hello world"_qs);
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));

    EXPECT_EQ(resultWhenIdle, u"Hello world"_qs);
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::review);
    EXPECT_TRUE(model.generationPreview().isEmpty());
    EXPECT_TRUE(model.instruction().isEmpty());
    ASSERT_TRUE(model.resultContext());
    EXPECT_EQ(model.resultContext()->delivery, DeliveryPreference::replace);
    EXPECT_EQ(model.resultContext()->appName, u"TextEdit"_qs);
    EXPECT_EQ(model.deliveryLabel(), u"Replace"_qs);
    EXPECT_TRUE(model.hasResult());
    EXPECT_FALSE(model.activeGenerationID());
    EXPECT_FALSE(model.generationTask());
    EXPECT_TRUE(model.generationStartedAt().isEmpty());
    ASSERT_TRUE(model.lastGenerationRequest());

    EXPECT_EQ(h.analytics.typeNames(),
        (QStringList { u"QUICK_COMMAND_OPENED"_qs, u"GENERATION_STARTED"_qs, u"GENERATION_COMPLETED"_qs }));
    const AnalyticsDimensions& started = h.analytics.events[1].dimensions;
    EXPECT_EQ(started,
        (AnalyticsDimensions { u"ollama"_qs, u"custom"_qs, u"global_hotkey"_qs, u"quick_hud"_qs, u"replace"_qs,
            std::nullopt, std::nullopt }));
    const AnalyticsDimensions& completed = h.analytics.events[2].dimensions;
    EXPECT_EQ(completed.outcome, u"success"_qs);
    EXPECT_EQ(completed.durationBucket, u"1to3s"_qs);
}

TEST_F(AppModelGeneration, DirectionTypedDuringGenerationSurvivesSuccess)
{
    auto generation = h.generate(u"first"_qs);
    model.setInstruction(u"second thoughts"_qs);
    generation->finish(u"done"_qs);
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
    EXPECT_EQ(model.instruction(), u"second thoughts"_qs);
    // A result in the workspace leaves the phase alone.
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::bubble);
    EXPECT_EQ(h.analytics.events.back().dimensions.surface, u"workspace"_qs);
}

TEST_F(AppModelGeneration, FailureShowsTheProviderWordsAndKeepsInput)
{
    h.openHUD(u"text"_qs);
    auto first = h.generate(u"shorter"_qs);
    first->finish(u"old result"_qs);
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
    model.setInstruction(u"shorter still"_qs);
    model.regenerate();
    auto second = h.awaitGeneration(1);
    second->preview(u"partial"_qs);
    second->fail(std::make_exception_ptr(ProviderError::emptyResponse()));
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));

    EXPECT_EQ(model.statusMessage(), u"The provider returned an empty response."_qs);
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::compose);
    EXPECT_EQ(model.instruction(), u"shorter still"_qs);
    EXPECT_EQ(model.result(), u"old result"_qs);
    EXPECT_TRUE(model.generationPreview().isEmpty());
    EXPECT_TRUE(model.lastGenerationRequest()); // so the regeneration can be tried again
    EXPECT_EQ(h.analytics.events.back().dimensions.outcome, u"provider_error"_qs);
}

TEST_F(AppModelGeneration, ProviderCancellationForActiveRequestEndsQuietly)
{
    h.openHUD(u"text"_qs);
    auto generation = h.generate();
    generation->preview(u"so far"_qs);
    generation->fail(std::make_exception_ptr(CancellationError()));
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::compose);
    EXPECT_FALSE(model.statusMessage());
    EXPECT_EQ(model.generationPreview(), u"so far"_qs); // the one end that keeps it
    EXPECT_EQ(h.analytics.typeNames().back(), u"GENERATION_CANCELLED"_qs);
}

struct CancelCase : NamedRow {
    bool generating;
    bool report;
    std::optional<QString> message;
    int cancelledEvents;
};

class CancelGeneration : public AppModelGeneration, public ::testing::WithParamInterface<CancelCase> { };

TEST_P(CancelGeneration, RecordsAndReports)
{
    const CancelCase& c = GetParam();
    std::shared_ptr<ScriptedProvider::Generation> generation;
    if (c.generating) {
        model.setInstruction(u"go"_qs);
        model.generate();
        generation = h.awaitGeneration();
        generation->preview(u"partial"_qs);
    }
    model.cancelGeneration(c.report);
    EXPECT_EQ(model.statusMessage(), c.message);
    EXPECT_FALSE(model.isGenerating());
    EXPECT_TRUE(model.generationPreview().isEmpty());
    if (generation) {
        // The provider's late preview and its cancellation arrive after the cancel: both dropped.
        generation->preview(u"late"_qs);
        ASSERT_TRUE(runUntil([&] { return generation->ended; }));
        EXPECT_TRUE(generation->sawCancellation);
        drainEvents();
        EXPECT_TRUE(model.generationPreview().isEmpty());
    }
    EXPECT_EQ(h.analytics.typeNames().count(u"GENERATION_CANCELLED"_qs), c.cancelledEvents);
    EXPECT_TRUE(model.generationStartedAt().isEmpty());
}

BRINDLET_ROWS(AppModel, CancelGeneration, CancelCase { "quietWhileGenerating", true, false, std::nullopt, 1 },
    CancelCase { "reportedWhileGenerating", true, true, u"Generation cancelled."_qs, 1 },
    CancelCase { "reportedWhileIdle", false, true, std::nullopt, 0 });

// Cancelled by the user (the request is cleared too), or from outside while its request is still
// the active one (only the task's own cancellation tells the model to drop the answer).
TEST_F(AppModelGeneration, AnswerFromACancelledTaskIsIgnored)
{
    const std::function<void()> cancels[] = { [&] { model.cancelGeneration(false); }, [] { cancelAllTasks(); } };
    for (const auto& cancel : cancels) {
        auto generation = h.generate();
        generation->answerDespiteCancellation = u"stale"_qs;
        cancel();
        ASSERT_TRUE(runUntil([&] { return generation->ended; }));
        drainEvents();
        EXPECT_TRUE(model.result().isEmpty());
        EXPECT_FALSE(model.resultContext());
    }
}

TEST_F(AppModelGeneration, ReplacedGenerationNeitherFinishesNorCancelsTheNewOne)
{
    h.openHUD(u"text"_qs);
    auto first = h.generate();
    first->answerDespiteCancellation = u"stale"_qs;
    GenerationRequest next = *model.activeGenerationRequest();
    next.id = QUuid::createUuid();
    model.beginGeneration(next, GenerationMode::command);
    auto second = h.awaitGeneration(1);
    ASSERT_TRUE(runUntil([&] { return first->ended; }));
    spawn(first->onPartialText(u"stale preview"_qs)); // from a task nobody cancelled
    drainEvents();
    EXPECT_TRUE(model.generationPreview().isEmpty());
    // The old task's end changed nothing: the new request is still the running one.
    EXPECT_TRUE(model.isGenerating());
    EXPECT_EQ(model.activeGenerationID(), next.id);
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::generating);
    EXPECT_TRUE(model.result().isEmpty());
    second->finish(u"fresh"_qs);
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
    EXPECT_EQ(model.result(), u"fresh"_qs);
}

TEST_F(AppModelGeneration, UserCancelReturnsToCompose)
{
    h.openHUD(u"text"_qs);
    h.generate();
    model.userCancelGeneration();
    EXPECT_EQ(model.quickHUDPhase(), QuickHUDPhase::compose);
    EXPECT_EQ(model.statusMessage(), u"Generation cancelled."_qs);
}

// In the workspace the HUD is closed, and a cancellation, by the user or by the provider, must
// not open it.
TEST_F(AppModelGeneration, CancellingInTheWorkspaceLeavesTheHUDClosed)
{
    for (const bool byUser : { true, false }) {
        auto generation = h.generate();
        if (byUser)
            model.userCancelGeneration();
        else
            generation->fail(std::make_exception_ptr(CancellationError()));
        ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
        EXPECT_FALSE(model.isQuickHUDOpen()) << (byUser ? "by the user" : "by the provider");
    }
}

TEST_F(AppModelGeneration, RegenerateRepeatsTheOldRequestAfterProviderChanges)
{
    h.openHUD(u"text"_qs);
    h.generate()->finish(u"one"_qs);
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
    const GenerationRequest first = *model.lastGenerationRequest();

    model.setProvider(ProviderKind::claude);
    model.setProvider(ProviderKind::gemini);
    model.setWorkingSourceText(u"changed"_qs);
    model.regenerate();
    auto second = h.awaitGeneration(1);
    EXPECT_EQ(second->provider, ProviderKind::ollama);
    EXPECT_EQ(second->prompt, first.prompt + regenerationSuffix());
    EXPECT_NE(model.activeGenerationID(), first.id);
    second->finish(u"two"_qs);
    ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
    model.regenerate();
    EXPECT_TRUE(h.awaitGeneration(2)->prompt.endsWith(regenerationSuffix() + regenerationSuffix()));
}

TEST_F(AppModelGeneration, DurationBucketsFollowTheMonotonicClock)
{
    const std::pair<Duration, const char*> cases[] = { { 0ms, "lt1s" }, { 999ms, "lt1s" }, { 1s, "1to3s" },
        { 3s, "3to10s" }, { 10s, "10to30s" }, { 30s, "30splus" } };
    for (const auto& [elapsed, bucket] : cases) {
        auto generation = h.generate();
        h.clock.advance(elapsed);
        generation->finish(u"x"_qs);
        ASSERT_TRUE(runUntil([&] { return !model.isGenerating(); }));
        EXPECT_EQ(h.analytics.events.back().dimensions.durationBucket, QString::fromLatin1(bucket));
    }
}

TEST_F(AppModelGeneration, SettingTheSnapshotResetsTheWorkingTextOnlyOnANewIdentity)
{
    const auto snapshot = AppModelHarness::snapshot(u"captured"_qs);
    model.setSnapshot(snapshot);
    model.setWorkingSourceText(u"edited"_qs);
    EXPECT_TRUE(model.isSourceEdited());
    model.setSnapshot(snapshot);
    EXPECT_EQ(model.workingSourceText(), u"edited"_qs);
    model.setSnapshot(AppModelHarness::snapshot(std::nullopt));
    EXPECT_EQ(model.workingSourceText(), u""_qs);
    EXPECT_FALSE(model.isSourceEdited());
}

TEST_F(AppModelGeneration, ProviderChangeStoresTheDefaultAndWarmsOnlyOnChange)
{
    model.setProvider(ProviderKind::ollama);
    drainEvents();
    EXPECT_TRUE(h.provider.calls.filter(u"prepare"_qs).isEmpty());
    h.settings.setDefaultProvider(ProviderKind::codex);
    model.setStatusMessage(u"old"_qs);
    model.setProvider(ProviderKind::ollama); // same value: the default is still repaired
    EXPECT_EQ(h.settings.defaultProvider(), ProviderKind::ollama);
    EXPECT_EQ(model.statusMessage(), u"old"_qs);
    model.setProvider(ProviderKind::claude);
    drainEvents();
    EXPECT_EQ(h.settings.defaultProvider(), ProviderKind::claude);
    EXPECT_FALSE(model.statusMessage());
    EXPECT_EQ(h.provider.calls.filter(u"prepare"_qs), QStringList { u"prepare(claude)"_qs });
    EXPECT_EQ(model.providerLabel(), u"Claude CLI"_qs);
}

TEST_F(AppModelGeneration, DestroyingTheModelMidGenerationIsSafe)
{
    auto generation = h.generate();
    h.model.reset();
    ASSERT_TRUE(runUntil([&] { return generation->ended; }));
    drainEvents();
}

} // namespace
