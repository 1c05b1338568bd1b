// The application on a private desktop, driven by real key presses: the shortcuts reach it,
// its flows change the editor's text, a second launch hands over, and SIGTERM ends it cleanly.

#include "platform/linux/AtspiBus.h"
#include "settings/JsonFileDefaultsStore.h"
#include "support/EventLoop.h"
#include "support/FakeOllamaServer.h"
#include "support/Keyboard.h"
#include "support/PrivateDesktop.h"
#include "support/TestEditor.h"

#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <X11/keysym.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

class Application : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        desktop = new PrivateDesktop({ PrivateDesktop::WindowManager::openbox, PrivateDesktop::Bus::session });
        AtspiBus().enable();
    }
    static void TearDownTestSuite() { delete desktop; }
    static inline PrivateDesktop* desktop = nullptr;

    FakeOllamaServer ollama;
    QTemporaryDir configHome;
    QProcess app;
    QByteArray output;

    void SetUp() override
    {
        ASSERT_TRUE(desktop->problem().isEmpty()) << desktop->problem().toStdString();
        JsonFileDefaultsStore defaults(configHome.filePath(u"Brindlet/defaults.json"_qs));
        defaults.apply({ { u"defaultProvider"_qs, DefaultsValue(u"ollama"_qs) },
            { u"ollamaURL"_qs, DefaultsValue(ollama.baseURL()) }, { u"ollamaModel"_qs, DefaultsValue(u"m"_qs) },
            { u"hasCompletedOnboarding"_qs, DefaultsValue(true) } });
    }
    void TearDown() override
    {
        if (app.state() != QProcess::NotRunning) {
            app.kill();
            app.waitForFinished();
        }
    }
    QProcess::ProcessState start(QProcess& process, const QStringList& arguments = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_qs, configHome.path());
        environment.insert(u"QT_QPA_PLATFORM"_qs, u"xcb"_qs);
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(BRINDLET_APP_PATH), arguments);
        process.waitForStarted();
        return process.state();
    }
    bool startApplication()
    {
        QObject::connect(&app, &QProcess::readyReadStandardOutput, [this] { output += app.readAllStandardOutput(); });
        start(app);
        return runUntil([&] { return output.contains("Brindlet is running."); }, 20s);
    }
};

TEST_F(Application, QuickFixShortcutFixesTheSelectionInPlace)
{
    ollama.respondWith(FakeResponse::stream({ u"They are"_qs, u" going home."_qs }));
    TestEditor editor(TestEditor::Kind::gtkEntry, u"Their going home."_qs, { { 0, 17 } });
    ASSERT_TRUE(editor.waitUntilReady());
    ASSERT_TRUE(startApplication());

    pressChord({ XK_Control_L, XK_Shift_L, XK_J });
    EXPECT_TRUE(editor.waitForText(u"They are going home."_qs)) << editor.reportedTexts().join(u" | ").toStdString();
    ASSERT_FALSE(ollama.requests().isEmpty());
    EXPECT_TRUE(ollama.requests().constLast().body.contains("Their going home."));

    // A second launch hands over and leaves; SIGTERM then ends the first cleanly.
    QProcess second;
    start(second);
    EXPECT_TRUE(second.waitForFinished(10000));
    EXPECT_EQ(second.exitCode(), 0);
    app.terminate();
    ASSERT_TRUE(app.waitForFinished(10000));
    EXPECT_EQ(app.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(app.exitCode(), 0);
}

TEST_F(Application, QuickCommandTakesAnInstructionAndReturnDeliversTheResult)
{
    ollama.respondWith(FakeResponse::stream({ u"Hello,"_qs, u" world"_qs }));
    TestEditor editor(TestEditor::Kind::gtkEntry, u"hello world"_qs, { { 0, 11 } });
    ASSERT_TRUE(editor.waitUntilReady());
    ASSERT_TRUE(startApplication());

    pressChord({ XK_Shift_L, XK_Super_L, XK_space });
    runUntil([] { return false; }, 800ms); // the panel comes up with the instruction focused
    typeText(u"add a comma"_qs);
    pressChord({ XK_Control_L, XK_Return });
    ASSERT_TRUE(runUntil([&] { return !ollama.requests().isEmpty(); }, 10s));
    runUntil([] { return false; }, 800ms); // the result is up for review
    pressChord({ XK_Return });
    EXPECT_TRUE(editor.waitForText(u"Hello, world"_qs)) << editor.reportedTexts().join(u" | ").toStdString();
    EXPECT_TRUE(ollama.requests().constLast().body.contains("add a comma"));
}

} // namespace
