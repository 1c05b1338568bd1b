#include "selection/SelectionError.h"
#include "support/DesktopScenes.h"
#include "support/EventLoop.h"
#include "support/ManualTimerSource.h"
#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;
using Kind = SelectionError::Kind;
using Outcome = std::variant<QString, Kind>;

namespace {

const PasteboardItem userClipboard { { SimulatedDesktop::plainTextType, "the user's words" },
    { u"public.html"_qs, "<b>the user's words</b>" } };

// A source document with "wrld" selected, captured while it was frontmost; then the user moved
// to Brindlet's panel, which is where every delivery starts.
struct DeliveryScene {
    ManualTimerSource clock;
    DesktopScene scene;
    SimulatedDesktop& desktop = scene.desktop;
    SimElementPtr field;
    SelectionSnapshot snapshot;

    explicit DeliveryScene(const QString& text = u"Hello wrld, again"_qs, TextRange selection = { 6, 4 })
    {
        field = scene.editor(text, selection);
        desktop.writeItems({ userClipboard });
        snapshot = *scene.service.capture(true);
        desktop.bringToFront(desktop.ownProcessID);
        desktop.ownApplicationActive = true;
    }
    ~DeliveryScene()
    {
        cancelAllTasks();
        drainEvents();
    }

    // What the delivery came to, in words (see `outcomeOf`).
    QString deliver(const QString& text, DeliveryPreference preference, bool cancelEarly = false)
    {
        QString words;
        TaskHandle handle = spawnOutcome(scene.service.deliver(text, snapshot, preference), &words);
        if (cancelEarly) {
            drainEvents();
            handle.cancel();
        }
        EXPECT_TRUE(runVirtually(clock, [&] { return !words.isEmpty(); }));
        return words;
    }
};

// The words of a status or of an error's kind, as `deliver` gives them.
QString words(const Outcome& outcome)
{
    const auto* kind = std::get_if<Kind>(&outcome);
    return kind ? SelectionError(*kind).description() : u"ok:"_qs + std::get<QString>(outcome);
}

struct DeliveryCase : NamedRow {
    std::function<void(DeliveryScene&)> arrange;
    QString text;
    DeliveryPreference preference;
    Outcome expected;
    QString documentAfter;
    std::optional<QString> clipboardAfter; // nullopt: the user's clipboard, every type of it
    QStringList keyEvents; // what was posted, and to which process
};

class GuardedDelivery : public ::testing::TestWithParam<DeliveryCase> { };

TEST_P(GuardedDelivery, ProvesBeforeAndAfterWriting)
{
    const DeliveryCase& c = GetParam();
    DeliveryScene s;
    c.arrange(s);
    EXPECT_EQ(s.deliver(c.text, c.preference), words(c.expected));
    EXPECT_EQ(s.field->value, c.documentAfter);
    if (c.clipboardAfter)
        EXPECT_EQ(s.desktop.clipboardText(), c.clipboardAfter);
    else
        EXPECT_EQ(s.desktop.items(), QList<PasteboardItem> { userClipboard });
    EXPECT_EQ(s.desktop.postedKeyEvents, c.keyEvents);
}

const QString original = u"Hello wrld, again"_qs;
const QString fixed = u"Hello world, again"_qs;
const QString replaced = u"Replaced the selected text."_qs;
const auto nothing = [](DeliveryScene&) {};
const QStringList noKeys;
const QStringList pasteChord { u"down pid=501"_qs, u"up pid=501"_qs };
using Write = simulated::SimElement::WriteBehaviour;
// The direct write is refused, so the delivery pastes; `more` arranges the rest.
std::function<void(DeliveryScene&)> pasting(const std::function<void(DeliveryScene&)>& more = nothing)
{
    return [more](DeliveryScene& s) {
        s.field->writeBehaviour = Write::refuses;
        more(s);
    };
}
using enum DeliveryPreference;

BRINDLET_ROWS(Delivery, GuardedDelivery,
    DeliveryCase { "emptyResult", nothing, u""_qs, copy, Kind::emptyResult, original, std::nullopt, noKeys },
    DeliveryCase { "copyNeverLooksAtTheTarget", [](auto& s) { s.desktop.removeApplication(501); }, u"world"_qs, copy,
        u"Copied to the clipboard."_qs, original, u"world"_qs, noKeys },
    DeliveryCase { "directWriteVerified", nothing, u"world"_qs, smart, replaced, fixed, std::nullopt, noKeys },
    DeliveryCase { "notSettable",
        [](auto& s) {
            auto target = std::make_shared<SelectionTarget>(*s.snapshot.target);
            target->isSettable = false; // as for a selection read through text markers
            s.snapshot.target = target;
        },
        u"world"_qs, replace, Kind::targetUnavailable, original, std::nullopt, noKeys },
    DeliveryCase { "processGone", [](auto& s) { s.desktop.removeApplication(501); }, u"world"_qs, replace,
        Kind::targetUnavailable, original, std::nullopt, noKeys },
    DeliveryCase { "refusesToComeToTheFront", [](auto& s) { s.desktop.application(501).refusesFront = true; },
        u"world"_qs, replace, Kind::targetUnavailable, original, std::nullopt, noKeys },
    DeliveryCase { "quitsWhileActivating",
        [](auto& s) {
            s.desktop.onActivate = [&s](std::int32_t pid) {
                s.desktop.application(pid).refusesFront = true;
                s.desktop.removeApplication(pid);
            };
        },
        u"world"_qs, replace, Kind::targetUnavailable, original, std::nullopt, noKeys },
    DeliveryCase { "selectionChangedInTheSource",
        [](auto& s) {
            s.field->selection = { 0, 5 };
        },
        u"world"_qs, replace, Kind::targetChanged, original, std::nullopt, noKeys },
    DeliveryCase { "selectedTextChangedInPlace", [](auto& s) { s.field->value = u"Hello WRLD, again"_qs; }, u"world"_qs,
        replace, Kind::targetChanged, u"Hello WRLD, again"_qs, std::nullopt, noKeys },
    DeliveryCase { "insertOverASelectionIsRefused", nothing, u"world"_qs, insert, Kind::targetChanged, original,
        std::nullopt, noKeys },
    DeliveryCase { "writeChangesNothingSoPaste", [](auto& s) { s.field->writeBehaviour = Write::changesNothing; },
        u"world"_qs, replace, replaced, fixed, std::nullopt, pasteChord },
    DeliveryCase { "writeRefusedSoPaste", pasting(), u"world"_qs, replace, replaced, fixed, std::nullopt, pasteChord },
    DeliveryCase { "selectionCollapsesAfterWriteNoPaste",
        [](auto& s) { s.field->writeBehaviour = Write::collapsesSelection; }, u"world"_qs, replace,
        Kind::deliveryRejected, u"Hello , again"_qs, std::nullopt, noKeys },
    DeliveryCase { "clipboardManagerRewritesWithin300ms", pasting([](auto& s) {
                      s.desktop.onClipboardWrite = [&s](qint64) {
                          s.desktop.onClipboardWrite = nullptr;
                          timerSource().schedule(100ms, {}, [&s] { s.desktop.setString(u"manager's copy"_qs); });
                      };
                  }),
        u"world"_qs, replace, replaced, fixed, u"manager's copy"_qs, pasteChord },
    DeliveryCase { "userSwitchesAppMidPaste", pasting([](auto& s) {
                      s.desktop.addApplication(502, u"com.apple.mail"_qs, u"Mail"_qs);
                      s.desktop.onClipboardWrite = [&s](qint64) {
                          s.desktop.onClipboardWrite = nullptr;
                          s.desktop.bringToFront(502);
                      };
                  }),
        u"world"_qs, replace, Kind::deliveryRejected, original, std::nullopt, noKeys },
    DeliveryCase { "pasteIgnored", pasting([](auto& s) { s.field->acceptsPaste = false; }), u"world"_qs, replace,
        Kind::deliveryRejected, original, std::nullopt, pasteChord },
    DeliveryCase { "clipboardWriteFails", pasting([](auto& s) { s.desktop.setStringFails = true; }), u"world"_qs,
        replace, Kind::deliveryRejected, original, std::nullopt, noKeys },
    DeliveryCase { "keyUpCannotBeMade", pasting([](auto& s) { s.desktop.keyUpCannotBeMade = true; }), u"world"_qs,
        replace, Kind::deliveryRejected, original, std::nullopt, noKeys });

TEST(GuardedDeliveryCursor, SmartInsertsAtTheCursorAndReplaceIsRefused)
{
    {
        DeliveryScene s(u"Dear , thanks"_qs, { 5, 0 });
        EXPECT_EQ(s.deliver(u"Ada 👩‍💻"_qs, smart), words(u"Inserted at the saved cursor."_qs));
        EXPECT_EQ(s.field->value, u"Dear Ada 👩‍💻, thanks"_qs);
    }
    {
        DeliveryScene s(u"Dear , thanks"_qs, { 5, 0 });
        EXPECT_EQ(s.deliver(u"Ada"_qs, replace), words(Kind::targetChanged));
        EXPECT_EQ(s.desktop.application(501).activations, 1); // brought forward, then nothing written
        EXPECT_EQ(s.field->writes, 0);
    }
    // A moved cursor selects "" before and after: the range alone tells that it moved.
    DeliveryScene s(u"Dear , thanks"_qs, { 5, 0 });
    s.field->selection = { 7, 0 };
    EXPECT_EQ(s.deliver(u"Ada"_qs, insert), words(Kind::targetChanged));
    EXPECT_EQ(s.field->writes, 0);
    EXPECT_EQ(s.field->value, u"Dear , thanks"_qs);
}

TEST(GuardedDeliveryText, CountsUtf16UnitsOutsideTheBasicPlane)
{
    // "𝒜𝒷" is four UTF-16 units; the range after it must land exactly on "c".
    DeliveryScene s(u"x 𝒜𝒷c y"_qs, { 2, 5 });
    s.field->writeBehaviour = Write::refuses; // the paste path computes ranges
    EXPECT_EQ(s.deliver(u"ℬ😀"_qs, replace), words(replaced));
    EXPECT_EQ(s.field->value, u"x ℬ😀 y"_qs);
}

TEST(GuardedDeliveryLiveness, AProcessOfAnotherUserIsAliveButNotARunningApplication)
{
    DeliveryScene s;
    s.desktop.removeApplication(501);
    s.desktop.addForeignProcess(501);
    EXPECT_EQ(s.deliver(u"world"_qs, replace), words(Kind::targetUnavailable));
}

TEST(GuardedDeliveryCancellation, BeforeTheWriteLeavesEverythingUntouched)
{
    DeliveryScene s;
    EXPECT_EQ(s.deliver(u"world"_qs, replace, true), u"The operation was cancelled."_qs);
    EXPECT_EQ(s.field->value, original);
    EXPECT_EQ(s.field->writes, 0);
}

} // namespace
