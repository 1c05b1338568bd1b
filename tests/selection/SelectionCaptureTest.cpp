#include "platform/AccessibilityVocabulary.h"
#include "support/DesktopScenes.h"
#include "support/ManualTimerSource.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using simulated::SimElement;

namespace {

struct Expected {
    std::optional<QString> text; // nullopt with snapshot true: a cursor
    bool settable = false;
    std::optional<std::int64_t> rangeLength;
};

struct CaptureCase : NamedRow {
    std::function<void(DesktopScene&)> build;
    std::optional<Expected> interactive; // nullopt: no snapshot
    bool passiveToo = true; // a passive capture gives the same; otherwise it gives none
};

class Capture : public ::testing::TestWithParam<CaptureCase> { };

void check(const std::optional<SelectionSnapshot>& snapshot, const std::optional<Expected>& expected, const char* mode)
{
    ASSERT_EQ(snapshot.has_value(), expected.has_value()) << mode;
    if (!snapshot)
        return;
    EXPECT_EQ(snapshot->text, expected->text) << mode;
    EXPECT_EQ(snapshot->target->isSettable, expected->settable) << mode;
    EXPECT_EQ(snapshot->target->hadSelection, expected->text.has_value()) << mode;
    EXPECT_EQ(snapshot->target->originalText, expected->text.value_or(QString())) << mode;
    EXPECT_EQ(snapshot->target->originalRange ? std::optional(snapshot->target->originalRange->length) : std::nullopt,
        expected->rangeLength)
        << mode;
}

TEST_P(Capture, GivesTheExpectedSnapshotInBothModes)
{
    DesktopScene scene;
    GetParam().build(scene);
    check(scene.service.capture(true), GetParam().interactive, "interactive");
    check(scene.service.capture(false), GetParam().passiveToo ? GetParam().interactive : std::nullopt, "passive");
}

// A native editor holding text with range selected, then changed.
std::function<void(DesktopScene&)> inEditor(
    const QString& text, TextRange range, const std::function<void(SimElement&)>& change = [](SimElement&) {})
{
    return [=](DesktopScene& s) { change(*s.editor(text, range)); };
}
void readOnly(SimElement& field)
{
    field.selectedTextSettable = false;
}

const Expected world { u"world"_qs, true, 5 };

BRINDLET_ROWS(Selection, Capture, CaptureCase { "editorSelection", inEditor(u"Hello world"_qs, { 6, 5 }), world },
    CaptureCase { "editorCursor", inEditor(u"Hello"_qs, { 5, 0 }), Expected { std::nullopt, true, 0 }, false },
    CaptureCase { "readOnlyCursor", inEditor(u"Hello"_qs, { 2, 0 }, readOnly), std::nullopt },
    CaptureCase {
        "readOnlySelection", inEditor(u"Hello world"_qs, { 6, 5 }, readOnly), Expected { u"world"_qs, false, 5 } },
    CaptureCase { "blanksOnly", inEditor(u"a  \t b"_qs, { 1, 4 }), std::nullopt },
    CaptureCase { "objectReplacementOnly", inEditor(u"\uFFFC\uFFFC"_qs, { 0, 2 }), std::nullopt },
    CaptureCase { "marksAndFormatOnly", inEditor(u"\u0301\u200B"_qs, { 0, 2 }), std::nullopt },
    CaptureCase { "emojiCounts", inEditor(u"hi 😀"_qs, { 3, 2 }), Expected { u"😀"_qs, true, 2 } },
    CaptureCase { "selectedTextEmptyButRangeReadable",
        inEditor(u"Hello world"_qs, { 0, 5 },
            [](SimElement& field) { field.wrongKindReads[AXAttribute::selectedText] = QString(); }),
        Expected { u"Hello"_qs, true, 5 } },
    CaptureCase { "rangeOfWrongKindIsNoRange",
        inEditor(u"Hello world"_qs, { 6, 5 },
            [](SimElement& field) { field.wrongKindReads[AXAttribute::selectedTextRange] = u"6,5"_qs; }),
        Expected { u"world"_qs, false, std::nullopt } },
    CaptureCase { "focusOfWrongKind",
        [](auto& s) {
            s.editor(u"Hello world"_qs, { 6, 5 });
            s.desktop.application(501).element->wrongKindReads[AXAttribute::focusedUIElement] = u"x"_qs;
        },
        std::nullopt },
    CaptureCase { "ancestorWebArea",
        [](auto& s) {
            s.browser().webArea->selection = { 2, 4 };
        },
        Expected { u"page"_qs, false, 4 } },
    CaptureCase { "textMarkersOnly",
        [](auto& s) {
            auto b = s.browser();
            b.webArea->isText = false;
            b.webArea->markerSelection = u"otters"_qs;
        },
        Expected { u"otters"_qs, false, std::nullopt } },
    CaptureCase { "addressBarOnlyWhenAskedFor",
        [](auto& s) {
            auto b = s.browser();
            b.addressBar->selection = { 0, 21 };
            b.app->focus(b.addressBar);
        },
        Expected { u"https://example.test/"_qs, true, 21 }, false },
    CaptureCase { "addressBarOfUnlistedBrowserPasses",
        [](auto& s) {
            auto b = s.browser(u"com.example.otherbrowser"_qs);
            b.addressBar->selection = { 8, 7 };
            b.app->focus(b.addressBar);
        },
        Expected { u"example"_qs, true, 7 } },
    CaptureCase { "fieldInsidePagePasses",
        [](auto& s) {
            auto b = s.browser(u"com.google.Chrome"_qs);
            auto field = s.desktop.addText(b.webArea, AXRole::textField, u"search me"_qs, { 0, 6 });
            field->identifier = u"omnibox"_qs;
            b.app->focus(field);
        },
        Expected { u"search"_qs, true, 6 } },
    CaptureCase { "parentThatLoops",
        inEditor(u"Hello world"_qs, { 0, 0 },
            [](SimElement& field) {
                field.parentOverride = field.weak_from_this();
                field.selectedTextSettable = false;
            }),
        std::nullopt });

TEST(CaptureGuards, NeverReadOwnWindowsOrWithoutPermission)
{
    const std::pair<const char*, std::function<void(DesktopScene&)>> guards[] = {
        { "untrusted", [](DesktopScene& s) { s.desktop.trusted = false; } },
        { "ownAppActive", [](DesktopScene& s) { s.desktop.ownApplicationActive = true; } },
        { "ownProcessFrontmost", [](DesktopScene& s) { s.desktop.bringToFront(s.desktop.ownProcessID); } },
    };
    for (const auto& [name, apply] : guards) {
        DesktopScene scene;
        scene.editor(u"Hello world"_qs, { 6, 5 });
        apply(scene);
        EXPECT_FALSE(scene.service.capture(true)) << name;
        EXPECT_EQ(scene.desktop.accessibilityMessages, 0) << name;
    }
}

TEST(CaptureDetails, NamesTargetsAndMetadata)
{
    DesktopScene scene;
    auto b = scene.browser();
    b.webArea->selection = { 2, 4 };
    b.app->info.localizedName.reset();
    const auto snapshot = scene.service.capture(true);
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->appName, u"Current app"_qs);
    EXPECT_EQ(scene.desktop.resolve(snapshot->target->element), b.webArea);
    EXPECT_EQ(scene.desktop.resolve(snapshot->target->focusedElement), b.paragraph);
    EXPECT_EQ(scene.desktop.resolve(snapshot->target->sourceWindow), b.window);
    EXPECT_EQ(snapshot->target->originalValue, u"A page about otters."_qs);
    EXPECT_EQ(snapshot->target->processID, 601);
}

struct BoundsCase : NamedRow {
    std::optional<QPointF> pointer;
    std::function<void(SimElementPtr&)> fault;
    std::optional<Rect> expected;
};

class CaptureBounds : public ::testing::TestWithParam<BoundsCase> { };

TEST_P(CaptureBounds, AnchorAtTheEdgeNearestThePointer)
{
    // "Hello world" at (100,200) with 8-point characters: "world" spans x 148..188.
    DesktopScene scene;
    auto field = scene.editor(u"Hello world"_qs, { 6, 5 });
    GetParam().fault(field);
    scene.desktop.pointer = GetParam().pointer;
    const auto snapshot = scene.service.capture(true);
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->bounds, GetParam().expected);
}

const Rect firstChar { 148, 200, 8, 16 }, lastChar { 180, 200, 8, 16 }, wholeRange { 148, 200, 40, 16 };
const auto noFault = [](SimElementPtr&) {};

BRINDLET_ROWS(Selection, CaptureBounds, BoundsCase { "pointerNearFirst", QPointF(140, 205), noFault, firstChar },
    BoundsCase { "pointerNearLast", QPointF(200, 205), noFault, lastChar },
    BoundsCase { "tieGoesToLast", QPointF(168, 208), noFault, lastChar },
    BoundsCase { "noPointerTakesLast", std::nullopt, noFault, lastChar },
    BoundsCase { "edgesUnreadableKeepWholeRange", QPointF(140, 205),
        [](SimElementPtr& f) {
            f->wrongKindReads[AXParameterizedAttribute::boundsForRange] = u"not a rect"_qs; // every range read fails
        },
        std::nullopt });

// ---- web sources and their caches ----

TEST(DeferredHost, IsAskedForItsTreeUntilItAnswers)
{
    const std::pair<AXStatus, int> answers[]
        = { { AXErrorCode::success, 1 }, { AXErrorCode::attributeUnsupported, 1 }, { AXErrorCode::cannotComplete, 3 } };
    for (const auto& [answer, expectedRequests] : answers) {
        DesktopScene scene;
        SimApplication& app = scene.deferredHost(701, answer);
        for (int i = 0; i < 3; ++i)
            scene.service.capture(false);
        EXPECT_EQ(app.manualAccessibilityRequests, expectedRequests) << answer;
        EXPECT_EQ(scene.desktop.logLines.value(expectedRequests - 1),
            u"Requested deferred host accessibility tree pid=701 status=%1"_qs.arg(answer));
        EXPECT_EQ(scene.desktop.logLines.size(), expectedRequests);
    }
}

// A deferred host whose window holds `filler` plain elements ahead of a group with a web area.
struct LargeWindow {
    DesktopScene scene;
    SimApplication* app;
    SimElementPtr window, webArea;

    explicit LargeWindow(int filler)
    {
        app = &scene.deferredHost();
        window = app->addWindow(u"Docs"_qs);
        for (int i = 0; i < filler; ++i)
            window->addChild(AXRole::button);
        webArea = scene.desktop.addText(
            window->addChild(AXRole::group), AXRole::webArea, u"Quarterly numbers"_qs, { 0, 9 });
    }
    int messagesFor(bool interactive = false)
    {
        const int before = scene.desktop.accessibilityMessages;
        scene.service.capture(interactive);
        return scene.desktop.accessibilityMessages - before;
    }
};

TEST(DeferredHost, SelectionIsFoundInTheWindowOnceTheTreeIsPublished)
{
    LargeWindow w(0);
    // No focused element at all: only the window search can find it.
    const auto snapshot = w.scene.service.capture(false);
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->text, u"Quarterly"_qs);
    EXPECT_EQ(w.scene.desktop.resolve(snapshot->target->element), w.webArea);
    EXPECT_FALSE(snapshot->target->focusedElement);
}

TEST(WindowSearchCache, SavesTheWalkItExistsToSave)
{
    ManualTimerSource clock;
    LargeWindow w(150);
    const int cold = w.messagesFor();
    const int warm = w.messagesFor();
    EXPECT_GT(cold, 300); // two messages an element for the walk
    EXPECT_LT(warm, 40); // the cached web area is read directly

    // The user clears the selection: within 1.2 s nothing is walked again.
    w.webArea->selection = { 0, 0 };
    clock.advance(std::chrono::milliseconds(500));
    EXPECT_LT(w.messagesFor(), 40);
    EXPECT_FALSE(w.scene.service.capture(false));
    // Past 1.2 s since the refresh, the window is walked again.
    clock.advance(std::chrono::milliseconds(800));
    EXPECT_GT(w.messagesFor(), 300);

    // A different focused window changes the root hashes and forces a refresh at once.
    auto other = w.app->addWindow(u"Other"_qs);
    w.scene.desktop.addText(other, AXRole::webArea, u"Elsewhere"_qs, { 0, 9 });
    w.app->focusedWindow = other;
    const int beforeSwitch = w.scene.desktop.accessibilityMessages;
    const auto snapshot = w.scene.service.capture(false);
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->text, u"Elsewhere"_qs);
    EXPECT_GT(w.scene.desktop.accessibilityMessages - beforeSwitch, 8);
}

TEST(WindowSearchCache, MoreThan320ElementsBeforeTheWebAreaFindNothingAndWalkAgain)
{
    ManualTimerSource clock;
    LargeWindow w(330);
    EXPECT_FALSE(w.scene.service.capture(false));
    // The stored list is empty, so nothing holds the role: the next capture walks again.
    EXPECT_GT(w.messagesFor(), 600);
}

TEST(AncestorCache, RepeatedCapturesDoNotWalkAgain)
{
    DesktopScene scene;
    auto b = scene.browser();
    auto deep = b.paragraph;
    for (int i = 0; i < 10; ++i)
        deep = deep->addChild(AXRole::group);
    b.app->focus(deep);
    b.webArea->selection = { 2, 4 };
    const auto count = [&] {
        const int before = scene.desktop.accessibilityMessages;
        EXPECT_TRUE(scene.service.capture(false));
        return scene.desktop.accessibilityMessages - before;
    };
    const int first = count();
    const int second = count();
    EXPECT_GE(first - second, 20); // the walk of eleven ancestors, two messages each
}

} // namespace

namespace {

TEST(AccessibilityAccess, PromptsAndOpensTheSettingsOnlyWhenStillUntrusted)
{
    for (const bool promptGrants : { false, true }) {
        DesktopScene scene;
        scene.desktop.trusted = false;
        scene.desktop.promptGrantsTrust = promptGrants;
        scene.service.requestAccessibilityAccess();
        EXPECT_EQ(scene.desktop.accessibilitySettingsOpened, promptGrants ? 0 : 1);
    }
}

} // namespace
