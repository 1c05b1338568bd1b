// brindlet-cli's capture and replace against real GTK and Qt editors on a private desktop: the
// range in UTF-16 units whatever the toolkit counts in, and the editor's text exactly right.

#include "platform/linux/AtspiBus.h"
#include "support/CliRun.h"
#include "support/EventLoop.h"
#include "support/FakeHttpServer.h"
#include "support/Printers.h"
#include "support/PrivateDesktop.h"
#include "support/TestEditor.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <csignal>

using namespace brindlet;
using namespace brindlet::test;

namespace {

struct EditorCase : NamedRow {
    TestEditor::Kind kind;
    QString text;
    std::optional<std::pair<int, int>> selection; // the toolkit's own offsets
    std::optional<QString> capturedText; // null for a bare cursor
    std::pair<int, int> range; // UTF-16 location and length
    QString replacement;
    QString result;
};

class DesktopCommands : public ::testing::TestWithParam<EditorCase> {
protected:
    static void SetUpTestSuite()
    {
        desktop = new PrivateDesktop({ PrivateDesktop::WindowManager::openbox, PrivateDesktop::Bus::session });
        // Before any editor starts: Qt publishes its tree only if the switch was on at its start.
        AtspiBus bus;
        bus.enable();
    }
    static void TearDownTestSuite() { delete desktop; }
    void SetUp() override { ASSERT_TRUE(desktop->problem().isEmpty()) << desktop->problem().toStdString(); }
    static inline PrivateDesktop* desktop = nullptr;
};

TEST_P(DesktopCommands, CaptureThenReplaceInTheFocusedField)
{
    const EditorCase& c = GetParam();
    TestEditor editor(c.kind, c.text, c.selection);
    ASSERT_TRUE(editor.waitUntilReady());
    // Qt joins the accessibility bus a little after its window shows, and a loaded machine may
    // give the window its focus later still.
    CliRun capture;
    runUntil([&] { return (capture = runCli({ QStringLiteral("capture") })).exitCode == 0; }, std::chrono::seconds(10));
    ASSERT_EQ(capture.exitCode, 0) << capture.err.toStdString();
    const QJsonObject captured = QJsonDocument::fromJson(capture.out).object();
    EXPECT_EQ(captured.value(u"text"), c.capturedText ? QJsonValue(*c.capturedText) : QJsonValue(QJsonValue::Null))
        << capture.out.toStdString();
    EXPECT_EQ(captured.value(u"range").toObject().value(u"location").toInt(-1), c.range.first);
    EXPECT_EQ(captured.value(u"range").toObject().value(u"length").toInt(-1), c.range.second);
    EXPECT_EQ(captured.value(u"processID").toInt(), editor.processID());
    EXPECT_TRUE(captured.value(u"settable").toBool());

    const CliRun replace = runCli({ QStringLiteral("replace"), QStringLiteral("--text"), c.replacement });
    EXPECT_EQ(replace.exitCode, 0) << replace.err.toStdString();
    EXPECT_TRUE(editor.waitForText(c.result)) << editor.reportedTexts().join(u" | ").toStdString();
}

// Emoji and combining marks before and inside the selections: GTK counts code points, Qt
// UTF-16 units, and Qt Quick writes its line breaks as paragraph separators.
BRINDLET_ROWS(Editors, DesktopCommands,
    EditorCase { "GtkEntry", TestEditor::Kind::gtkEntry, u"Hello 😀 wörld é̃x end"_qs, { { 6, 13 } }, u"😀 wörld"_qs,
        { 6, 8 }, u"🌍 there"_qs, u"Hello 🌍 there é̃x end"_qs },
    EditorCase { "GtkTextView", TestEditor::Kind::gtkView, u"😀 é̃ one\ntwo"_qs, { { 2, 8 } }, u"é̃ one"_qs, { 3, 6 },
        u"🌍"_qs, u"😀 🌍\ntwo"_qs },
    EditorCase { "GtkEntryCursor", TestEditor::Kind::gtkEntry, u"Hi 😀"_qs, std::nullopt, std::nullopt, { 5, 0 },
        u" there"_qs, u"Hi 😀 there"_qs },
    EditorCase { "QtLineEdit", TestEditor::Kind::qtLine, u"Hello 😀 wörld é̃x end"_qs, { { 6, 14 } }, u"😀 wörld"_qs,
        { 6, 8 }, u"🌍 there"_qs, u"Hello 🌍 there é̃x end"_qs },
    EditorCase { "QtTextEdit", TestEditor::Kind::qtText, u"😀 é̃ one\ntwo"_qs, { { 3, 9 } }, u"é̃ one"_qs, { 3, 6 },
        u"🌍"_qs, u"😀 🌍\ntwo"_qs },
    EditorCase { "QtQuickTextArea", TestEditor::Kind::qtQuick, u"Line one\nHello 😀 wörld"_qs, { { 5, 17 } },
        u"one\nHello 😀"_qs, { 5, 12 }, u"two"_qs, u"Line two wörld"_qs },
    // Direct writes that do not stick: the paste fallback delivers, in each toolkit.
    EditorCase { "GtkEntryPasteFallback", TestEditor::Kind::gtkEntryRefusingDirectWrites, u"alpha beta gamma"_qs,
        { { 6, 10 } }, u"beta"_qs, { 6, 4 }, u"BETA"_qs, u"alpha BETA gamma"_qs },
    EditorCase { "QtLineEditPasteFallback", TestEditor::Kind::qtLineRefusingDirectWrites, u"alpha beta gamma"_qs,
        { { 6, 10 } }, u"beta"_qs, { 6, 4 }, u"BETA"_qs, u"alpha BETA gamma"_qs });

// Quick Fix from the command line: the model's answer replaces the selection, and an answer
// equal to the selection up to spacing and canonical form changes nothing.
TEST_F(DesktopCommands, FixReplacesTheSelectionOnlyWhenTheModelChangedIt)
{
    struct Row {
        QString answer;
        QByteArray said;
        std::optional<QString> editorText; // none: the editor never changed
    };
    for (const Row& row : { Row { u"Their going home."_qs, "Fixed in", u"They said: Their going home."_qs },
             Row { u" Teh going home. \n"_qs, "Already looks good", std::nullopt } }) {
        FakeHttpServer server;
        server.setHandler([&](const RecordedRequest&) { return FakeResponse::stream({ row.answer }); });
        TestEditor editor(TestEditor::Kind::gtkEntry, u"They said: Teh going home."_qs, { { 11, 26 } });
        ASSERT_TRUE(editor.waitUntilReady());
        CliRun fix;
        runUntil(
            [&] {
                fix = runCli({ u"fix"_qs, u"--provider"_qs, u"ollama"_qs, u"--ollama-url"_qs, server.baseURL(),
                    u"--ollama-model"_qs, u"m"_qs });
                return fix.exitCode == 0;
            },
            std::chrono::seconds(10));
        EXPECT_EQ(fix.exitCode, 0) << fix.err.toStdString();
        EXPECT_TRUE(fix.out.startsWith(row.said)) << fix.out.toStdString();
        if (row.editorText)
            EXPECT_TRUE(editor.waitForText(*row.editorText));
        else
            EXPECT_TRUE(editor.reportedTexts().isEmpty());
    }
}

// An application that stops answering costs a capture a bounded wait, not D-Bus's 25 seconds.
TEST_F(DesktopCommands, AHungApplicationFailsTheCaptureQuickly)
{
    TestEditor editor(TestEditor::Kind::gtkEntry, u"alpha beta"_qs, { { 0, 5 } });
    ASSERT_TRUE(editor.waitUntilReady());
    ::kill(editor.processID(), SIGSTOP);
    QElapsedTimer elapsed;
    elapsed.start();
    const CliRun capture = runCli({ u"capture"_qs });
    EXPECT_LT(elapsed.elapsed(), 5000);
    ::kill(editor.processID(), SIGCONT);
    EXPECT_NE(capture.exitCode, 0);
}

TEST_F(DesktopCommands, WithoutAFocusedFieldNothingIsCapturedAndTheCommandSaysSo)
{
    const CliRun capture = runCli({ QStringLiteral("capture") });
    EXPECT_NE(capture.exitCode, 0);
    EXPECT_TRUE(capture.err.contains("No selection or cursor was found")) << capture.err.toStdString();
}

} // namespace
