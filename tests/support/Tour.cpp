// brindlet_tour: Brindlet shown working where there is no desktop to show it on. It starts a
// private desktop with real parts only (Xvfb, openbox, the accessibility bus), a real GTK editor
// with the sample text selected, and the application with the user's own settings; presses the
// Quick Fix shortcut for real; saves a screenshot of each step into the folder it is given; and
// says what happened, with the providers' own words when none could answer.
//
//   brindlet_tour FOLDER

#include "platform/linux/AtspiBus.h"
#include "support/AppUnderTest.h"
#include "support/EventLoop.h"
#include "support/Keyboard.h"
#include "support/PrivateDesktop.h"
#include "support/TestEditor.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPixmap>
#include <QProcess>
#include <QScreen>

#include <X11/keysym.h>

#include <cstdio>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

void say(const QString& text)
{
    std::printf("%s\n", text.toUtf8().constData());
    std::fflush(stdout);
}

void screenshot(const QDir& folder, const QString& name, const QString& what)
{
    const QString path = folder.filePath(name);
    QGuiApplication::primaryScreen()->grabWindow(0).save(path);
    say(QStringLiteral("  %1: %2").arg(path, what));
}

} // namespace

int main(int argc, char** argv)
{
    const QString folderName = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("brindlet-tour");
    PrivateDesktop desktop({ PrivateDesktop::WindowManager::openbox, PrivateDesktop::Bus::session });
    if (!desktop.problem().isEmpty()) {
        std::fprintf(stderr, "brindlet_tour: %s\n", qPrintable(desktop.problem()));
        return 1;
    }
    AtspiBus().enable(); // before any application starts: Qt looks only then
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    QDir folder(folderName);
    folder.mkpath(QStringLiteral("."));
    say(QStringLiteral("No desktop here: touring Brindlet on a private one (display %1). Screenshots:")
            .arg(desktop.display()));

    QFile sampleFile(QStringLiteral(SAMPLE_PATH));
    sampleFile.open(QIODevice::ReadOnly);
    const QString sample = QString::fromUtf8(sampleFile.readAll()).trimmed();
    TestEditor editor(TestEditor::Kind::gtkView, sample, { { 0, int(sample.toUcs4().size()) } });
    if (!editor.waitUntilReady()) {
        std::fprintf(stderr, "brindlet_tour: the GTK editor did not start.\n");
        return 1;
    }
    screenshot(folder, QStringLiteral("1-selection.png"), QStringLiteral("a GTK editor with the sample text selected"));

    AppUnderTest brindletApp; // with the user's own settings
    if (!brindletApp.start()) {
        std::fprintf(stderr, "brindlet_tour: Brindlet did not start.\n");
        return 1;
    }
    // A first run opens setup in the workspace window; Ctrl+Q puts it away and gives the editor the keyboard back.
    const auto workspace
        = [] { return visibleWindowTitled("Brindlet", [](const QRect& place) { return place.width() > 500; }); };
    if (runUntil([&] { return workspace().has_value(); }, 3s)) {
        runUntil([] { return false; }, 500ms);
        screenshot(
            folder, QStringLiteral("2-setup.png"), QStringLiteral("a first run opens setup in Brindlet's window"));
        pressChord({ XK_Control_L, XK_Q });
        runUntil([&] { return !workspace() && keyboardGoesTo("Editor"); }, 5s);
        runUntil([] { return false; }, 500ms); // the editor takes in that it has the keyboard again
    }
    pressChord({ XK_Control_L, XK_Shift_L, XK_J });
    runUntil([] { return false; }, 1500ms);
    screenshot(folder, QStringLiteral("3-quick-fix.png"), QStringLiteral("Control+Shift+J pressed: Quick Fix at work"));
    const bool fixed = runUntil([&] { return !editor.reportedTexts().isEmpty(); }, 30s)
        && editor.waitForText(editor.reportedTexts().constLast());
    runUntil([] { return false; }, 1s);
    screenshot(folder, QStringLiteral("4-after.png"), QStringLiteral("the editor afterwards"));

    if (fixed) {
        say(QStringLiteral("Quick Fix replaced the selection with:\n") + editor.reportedTexts().constLast());
    } else {
        say(QStringLiteral("The selection was left as it was: no provider answered. What each one says:"));
        QProcess status;
        status.start(QStringLiteral(BRINDLET_CLI_PATH), { QStringLiteral("status") });
        runUntil([&] { return status.state() == QProcess::NotRunning; }, 30s);
        say(QString::fromUtf8(status.readAllStandardOutput()).trimmed());
    }
    brindletApp.process().terminate();
    brindletApp.process().waitForFinished(10000);
    return 0;
}
