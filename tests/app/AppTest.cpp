// The application on a private desktop, driven by real key presses: the shortcuts reach it,
// its flows change the editor's text, a second launch hands over, and SIGTERM ends it cleanly.

#include "platform/linux/AtspiBus.h"
#include "settings/JsonFileDefaultsStore.h"
#include "settings/SettingsStore.h"
#include "support/AppUnderTest.h"
#include "support/EventLoop.h"
#include "support/FakeHttpServer.h"
#include "support/Keyboard.h"
#include "support/PrivateDesktop.h"
#include "support/TestEditor.h"

#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

// The HUD, not the bubble that the same panel shows beside a selection.
std::optional<QRect> visibleHUD()
{
    const auto panel = visibleWindowTitled("Brindlet quick actions");
    return panel && panel->width() > 50 ? panel : std::nullopt;
}

class Application : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        desktop = new PrivateDesktop({ PrivateDesktop::WindowManager::openbox, PrivateDesktop::Bus::session });
        AtspiBus().enable();
    }
    static void TearDownTestSuite() { delete desktop; }
    static inline PrivateDesktop* desktop = nullptr;

    FakeHttpServer ollama;
    AppUnderTest app { ollama.baseURL() };

    void SetUp() override { ASSERT_TRUE(desktop->problem().isEmpty()) << desktop->problem().toStdString(); }

    // Brindlet starts once the editor has the keyboard: the window manager focuses a new window a
    // moment after it shows, and a HUD opened before that would lose the keyboard to it.
    void startOver(TestEditor& editor)
    {
        ASSERT_TRUE(editor.waitUntilReady());
        ASSERT_TRUE(runUntil([] { return keyboardGoesTo("Editor"); }, 10s));
        ASSERT_TRUE(app.start());
    }
};

// Return uses the result once it is up for review, and does nothing before: a loaded machine
// may take a while to get there.
bool returnUntilDelivered(TestEditor& editor, const QString& expected)
{
    const bool delivered = runUntil(
        [&] {
            pressChord({ XK_Return });
            return runUntil([&] { return !editor.reportedTexts().isEmpty(); }, 500ms);
        },
        15s);
    return delivered && editor.waitForText(expected);
}

// A selection gets the bubble beside it, without the editor losing the keyboard; a click on the
// bubble opens the HUD for that selection, and the HUD goes when the editor ends.
TEST_F(Application, TheBubbleBesideASelectionOpensTheHUD)
{
    auto editor = std::make_unique<TestEditor>(TestEditor::Kind::gtkEntry, u"hello world"_qs, std::pair { 0, 5 });
    ASSERT_NO_FATAL_FAILURE(startOver(*editor));
    std::optional<QRect> bubble;
    ASSERT_TRUE(runUntil(
        [&] {
            bubble = visibleWindowTitled("Brindlet quick actions");
            return bubble && bubble->width() <= 50;
        },
        10s));
    clickAt(bubble->center().x(), bubble->center().y());
    ASSERT_TRUE(runUntil([] { return visibleHUD().has_value(); }, 5s));
    editor.reset();
    EXPECT_TRUE(runUntil([] { return !visibleHUD(); }, 5s));
    // SIGTERM ends Brindlet cleanly.
    app.process().terminate();
    ASSERT_TRUE(app.process().waitForFinished(10000));
    EXPECT_EQ(app.process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(app.process().exitCode(), 0);
}

TEST_F(Application, QuickCommandTakesAnInstructionAndReturnDeliversTheResult)
{
    ollama.respondWith(FakeResponse::stream({ u"Hello,"_qs, u" world"_qs }));
    TestEditor editor(TestEditor::Kind::gtkEntry, u"hello world"_qs, { { 0, 11 } });
    ASSERT_NO_FATAL_FAILURE(startOver(editor));

    // The HUD opens beside the selection at the editor's left, not at the pointer, which waits
    // in the far corner.
    const QRect editorWindow = visibleWindowTitled("Editor").value_or(QRect());
    clickAt(1270, 5, 0);
    pressChord({ XK_Shift_L, XK_Super_L, XK_space });
    std::optional<QRect> hud;
    ASSERT_TRUE(runUntil([&] { return (hud = visibleHUD()).has_value(); }, 5s));
    EXPECT_LT(std::abs(hud->left() - editorWindow.left()), 80) << hud->left() << " " << editorWindow.left();
    // Escape puts the HUD away; the shortcut brings it back.
    runUntil([] { return false; }, 300ms); // the instruction takes the focus
    pressChord({ XK_Escape });
    EXPECT_TRUE(runUntil([] { return !visibleHUD(); }, 5s));
    // So does a click outside it, here on the editor's title bar, which leaves its selection alone.
    // The end of the title bar away from the HUD, which may cover part of it.
    pressChord({ XK_Shift_L, XK_Super_L, XK_space });
    std::optional<QRect> shown;
    ASSERT_TRUE(runUntil([&] { return (shown = visibleHUD()).has_value(); }, 5s));
    const QPoint titleLeft(editorWindow.left() + 70, editorWindow.top() - 8);
    const QPoint titleRight(editorWindow.right() - 70, editorWindow.top() - 8);
    const QPoint outside = shown->adjusted(-5, -5, 5, 5).contains(titleLeft) ? titleRight : titleLeft;
    ASSERT_FALSE(shown->adjusted(-5, -5, 5, 5).contains(outside));
    clickAt(outside.x(), outside.y());
    EXPECT_TRUE(runUntil([] { return !visibleHUD(); }, 5s));
    // The click gave the editor the keyboard; it takes that in before the next capture.
    EXPECT_TRUE(runUntil([] { return keyboardGoesTo("Editor"); }, 5s));
    runUntil([] { return false; }, 500ms);
    pressChord({ XK_Shift_L, XK_Super_L, XK_space });
    ASSERT_TRUE(runUntil([] { return visibleHUD() && keyboardGoesTo("Brindlet quick actions"); }, 5s));
    runUntil([] { return false; }, 200ms); // and within it, to the instruction
    typeText(u"add a comma"_qs);
    pressChord({ XK_Control_L, XK_Return });
    ASSERT_TRUE(runUntil([&] { return !ollama.requests().isEmpty(); }, 10s));
    EXPECT_TRUE(returnUntilDelivered(editor, u"Hello, world"_qs)) << editor.reportedTexts().join(u" | ").toStdString();
    EXPECT_TRUE(ollama.requests().constLast().body.contains("add a comma"));
}

// A first run opens onboarding in the workspace window; Return walks it to a ready Ollama and
// finishes. Ctrl+Q then puts Brindlet away without ending it, and Quick Fix works at once.
// --quit ends it.
TEST_F(Application, FirstRunThroughOnboardingLandsInAWorkingQuickFix)
{
    // Ready means the chosen model is installed.
    ollama.setHandler([](const RecordedRequest& request) {
        return request.path == "/api/tags" ? FakeResponse::json(200, R"({"models":[{"name":"m"}]})")
                                           : FakeResponse::stream({ u"They are"_qs, u" here."_qs });
    });
    TestEditor editor(TestEditor::Kind::gtkEntry, u"Their here."_qs, { { 0, 11 } });
    ASSERT_TRUE(editor.waitUntilReady());
    // As for every other start here: the editor has had the keyboard before Brindlet opens.
    ASSERT_TRUE(runUntil([] { return keyboardGoesTo("Editor"); }, 10s));
    AppUnderTest firstRun(ollama.baseURL(), true);
    ASSERT_TRUE(firstRun.start());
    ASSERT_TRUE(runUntil([] { return keyboardGoesTo("Brindlet"); }, 10s));
    // Without a tray, the way back to the window is told once.
    EXPECT_TRUE(firstRun.errors().contains("This desktop has no system tray: start brindlet again"));
    const auto setUp = [&] {
        JsonFileDefaultsStore stored(firstRun.configFile(u"Brindlet/defaults.json"_qs));
        return SettingsStore(stored).hasCompletedOnboarding();
    };
    // Four steps on; the last Return finishes once Ollama has answered as ready.
    for (int step = 0; step < 4; ++step) {
        runUntil([] { return false; }, 200ms);
        pressChord({ XK_Return });
    }
    EXPECT_TRUE(runUntil(
        [&] {
            pressChord({ XK_Return });
            return runUntil(setUp, 300ms);
        },
        10s));

    pressChord({ XK_Control_L, XK_Q });
    EXPECT_TRUE(runUntil([] { return !visibleWindowTitled("Brindlet") && keyboardGoesTo("Editor"); }, 5s));
    EXPECT_EQ(firstRun.process().state(), QProcess::Running);
    runUntil([] { return false; }, 500ms); // the editor takes in that it has the keyboard again
    pressChord({ XK_Control_L, XK_Shift_L, XK_J });
    // On failure: what reached the editor, and whether the model was asked at all.
    EXPECT_TRUE(editor.waitForText(u"They are here."_qs))
        << editor.reportedTexts().join(u" | ").toStdString() << ", requests: " << ollama.requests().size();
    const auto& requests = ollama.requests();
    EXPECT_TRUE(std::any_of(requests.cbegin(), requests.cend(),
        [](const RecordedRequest& request) { return request.body.contains("Their here."); }));
    EXPECT_EQ(firstRun.launchAgain({ u"--quit"_qs }), 0);
    ASSERT_TRUE(firstRun.process().waitForFinished(10000));
    EXPECT_EQ(firstRun.process().exitCode(), 0);
}

// In settings, by keys: the login switch writes and removes the autostart entry, and a recorded
// chord takes over from the old shortcut.
TEST_F(Application, SettingsRecordShortcutsAndWriteTheAutostartEntry)
{
    TestEditor editor(TestEditor::Kind::gtkEntry, u"hello"_qs, { { 0, 5 } });
    ASSERT_NO_FATAL_FAILURE(startOver(editor));
    const auto pause = [] { runUntil([] { return false; }, 300ms); };
    const auto putAwayAndOpenHUDWith = [&](std::initializer_list<unsigned long> chord) {
        pressChord({ XK_Control_L, XK_Q });
        EXPECT_TRUE(runUntil([] { return keyboardGoesTo("Editor"); }, 5s));
        pressChord(chord);
        const bool opened = runUntil([] { return visibleHUD().has_value(); }, 3s);
        pressChord({ XK_Escape });
        runUntil([] { return !visibleHUD(); }, 3s);
        return opened;
    };
    EXPECT_EQ(app.launchAgain(), 0);
    EXPECT_TRUE(runUntil([] { return keyboardGoesTo("Brindlet"); }, 5s));
    pressChord({ XK_Control_L, XK_comma });
    EXPECT_TRUE(runUntil([] { return keyboardGoesTo("Brindlet Settings"); }, 5s));
    pause();

    // From the first setting, Tab reaches: 1 the login switch, 6 the Quick Command recorder.
    const QString entry = app.configFile(u"autostart/brindlet.desktop"_qs);
    pressChord({ XK_Tab });
    pressChord({ XK_space });
    EXPECT_TRUE(runUntil([&] { return QFile::exists(entry); }, 5s));
    QFile written(entry);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_TRUE(written.readAll().contains("/brindlet\"\n")); // Exec names this program
    pressChord({ XK_space });
    EXPECT_TRUE(runUntil([&] { return !QFile::exists(entry); }, 5s));

    for (int i = 1; i < 6; ++i)
        pressChord({ XK_Tab });
    pressChord({ XK_space });
    pause(); // recording has begun
    pressChord({ XK_Control_L, XK_Alt_L, XK_L });
    pause();
    EXPECT_TRUE(putAwayAndOpenHUDWith({ XK_Control_L, XK_Alt_L, XK_L }));
    EXPECT_FALSE(putAwayAndOpenHUDWith({ XK_Shift_L, XK_Super_L, XK_space }));
}

// Under a tray, the icon's menu opens the workspace with its first item and quits completely
// with its last, also while Brindlet is kept running after other quits.
TEST_F(Application, TheTrayMenuOpensTheWorkspaceAndQuitsCompletely)
{
    QProcess tray;
    tray.start(u"trayer"_qs,
        { u"--edge"_qs, u"top"_qs, u"--align"_qs, u"right"_qs, u"--widthtype"_qs, u"pixel"_qs, u"--width"_qs, u"80"_qs,
            u"--height"_qs, u"24"_qs });
    ASSERT_TRUE(tray.waitForStarted());
    // A tray exists once something owns the tray selection of the screen.
    ASSERT_TRUE(runUntil(
        [] {
            Display* display = XOpenDisplay(nullptr);
            const bool owned
                = display && XGetSelectionOwner(display, XInternAtom(display, "_NET_SYSTEM_TRAY_S0", False)) != None;
            if (display)
                XCloseDisplay(display);
            return owned;
        },
        20s));
    ASSERT_TRUE(app.start());
    runUntil([] { return false; }, 200ms);
    EXPECT_FALSE(app.errors().contains("no system tray")) << "there is one";
    const auto small = [](const QRect& place) { return place.width() < 50; };
    const auto large = [](const QRect& place) { return place.width() > 500; };
    std::optional<QRect> icon;
    ASSERT_TRUE(runUntil([&] { return (icon = visibleWindowTitled("Brindlet", small)).has_value(); }, 20s));

    // The menu is a window titled like the menu, taller than the icon and narrower than the workspace.
    const auto openMenu = [&] {
        clickAt(icon->center().x(), icon->center().y(), 3);
        const auto menu = [](const QRect& place) { return place.height() > 60 && place.width() < 500; };
        EXPECT_TRUE(runUntil([&] { return visibleWindowTitled("Brindlet", menu).has_value(); }, 10s));
        runUntil([] { return false; }, 300ms); // and takes the keyboard
    };
    openMenu();
    pressChord({ XK_Down });
    pressChord({ XK_Return });
    EXPECT_TRUE(runUntil([&] { return visibleWindowTitled("Brindlet", large).has_value(); }, 10s));

    openMenu();
    pressChord({ XK_Up });
    pressChord({ XK_Return });
    ASSERT_TRUE(app.process().waitForFinished(10000));
    EXPECT_EQ(app.process().exitCode(), 0);
    tray.kill();
    tray.waitForFinished();
}

// A preset made in the HUD by keys is stored, found by search and used on the selection; the
// settings window deletes it; the command line sees each change.
TEST_F(Application, APresetIsMadeFoundUsedAndDeletedByKeys)
{
    ollama.respondWith(FakeResponse::stream({ u"HELLO"_qs, u" WORLD"_qs }));
    TestEditor editor(TestEditor::Kind::gtkEntry, u"hello world"_qs, { { 0, 11 } });
    ASSERT_NO_FATAL_FAILURE(startOver(editor));
    const auto pause = [](std::chrono::milliseconds span = 300ms) { runUntil([] { return false; }, span); };

    pressChord({ XK_Shift_L, XK_Super_L, XK_space });
    ASSERT_TRUE(runUntil([] { return visibleHUD() && keyboardGoesTo("Brindlet quick actions"); }, 5s));
    pause();
    pressChord({ XK_Shift_L, XK_Tab }); // from the instruction back to the Actions chip
    pressChord({ XK_space });
    pause();
    pressChord({ XK_Control_L, XK_N });
    pause();
    typeText(u"shout"_qs);
    pressChord({ XK_Tab });
    typeText(u"make it loud"_qs);
    pressChord({ XK_Control_L, XK_Return });
    const auto stored = [&] { return app.cli({ u"presets"_qs, u"list"_qs }); };
    EXPECT_TRUE(
        runUntil([&] { return stored().contains("shout\tcustom\tselectionRequired\tsmart\tmake it loud"); }, 5s));

    // Back in the library, the search field has the keyboard; Return uses the first match,
    // which runs at once on the selection, and Return in review delivers.
    pause();
    typeText(u"loud"_qs);
    pressChord({ XK_Return });
    ASSERT_TRUE(runUntil(
        [&] { return !ollama.requests().isEmpty() && ollama.requests().constLast().body.contains("make it loud"); },
        10s));
    EXPECT_TRUE(returnUntilDelivered(editor, u"HELLO WORLD"_qs)) << editor.reportedTexts().join(u" | ").toStdString();

    // The workspace opens settings with Ctrl+comma; there Delete and Space remove the preset.
    EXPECT_EQ(app.launchAgain(), 0);
    ASSERT_TRUE(runUntil([] { return keyboardGoesTo("Brindlet"); }, 5s));
    pressChord({ XK_Control_L, XK_comma });
    ASSERT_TRUE(runUntil([] { return keyboardGoesTo("Brindlet Settings"); }, 5s));
    pressChord({ XK_Control_L, XK_Shift_L, XK_Tab }); // back from General to Presets
    pause();
    typeText(u"shout"_qs);
    pause(); // the list makes its filtered rows at its next frame; a key before that finds no row
    pressChord({ XK_Down });
    pause();
    pressChord({ XK_Delete });
    pause();
    pressChord({ XK_space });
    EXPECT_TRUE(runUntil([&] { return !stored().contains("shout"); }, 5s));
}

} // namespace
