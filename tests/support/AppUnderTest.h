#pragma once

// The brindlet application (BRINDLET_APP_PATH) on the private desktop, with settings of its own
// that point it at a fake Ollama, and the helpers to watch it from outside.

#include <QByteArray>
#include <QProcess>
#include <QRect>
#include <QTemporaryDir>

#include <functional>
#include <optional>

namespace brindlet::test {

class AppUnderTest {
public:
    // Writes settings of its own: Ollama at this address with the model "m", and setup finished
    // unless this is to be a first run.
    explicit AppUnderTest(const QString& ollamaURL, bool firstRun = false);
    // With the user's own settings, as the user would start it.
    AppUnderTest();
    ~AppUnderTest();

    // Starts it and waits until it says it is running; false if it never did.
    bool start();
    // Another launch with the same settings, for hand-over; returns its exit code.
    int launchAgain(const QStringList& arguments = {});
    // A file under the application's configuration folder (its own settings, or the user's).
    QString configFile(const QString& relative) const;
    // brindlet-cli with the same settings; returns what it printed.
    QByteArray cli(const QStringList& arguments) const;
    QProcess& process() { return process_; }
    // What it has written to its standard error so far.
    const QByteArray& errors() const { return errors_; }

private:
    QProcessEnvironment environment() const;

    std::optional<QTemporaryDir> configHome_;
    QProcess process_;
    QByteArray output_;
    QByteArray errors_;
};

// A window on screen with this title, and where: found from the root down, since the window
// manager frames each top-level window.
// With `fits`, only a window whose place it accepts: a tray icon and a window may share a title.
std::optional<QRect> visibleWindowTitled(
    const QByteArray& title, const std::function<bool(const QRect&)>& fits = nullptr);
// Whether the keyboard goes to the window with this title (or one inside it).
bool keyboardGoesTo(const QByteArray& title);

} // namespace brindlet::test
