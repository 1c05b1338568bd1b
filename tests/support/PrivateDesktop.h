#pragma once

// A private X desktop for tests that need a real one: Xvfb on a free display, on request with
// openbox as window manager (only window management needs one), and a session bus of its own (on which the
// accessibility bus starts when first asked for). DISPLAY and DBUS_SESSION_BUS_ADDRESS point at them while the object
// lives; everything it started ends with it, by process id.

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace brindlet::test {

class PrivateDesktop {
public:
    enum class WindowManager { none, openbox };
    enum class Bus { none, session };
    struct Parts {
        WindowManager windowManager = WindowManager::none;
        Bus bus = Bus::none;
    };
    PrivateDesktop();
    explicit PrivateDesktop(Parts parts);
    ~PrivateDesktop();
    PrivateDesktop(const PrivateDesktop&) = delete;
    PrivateDesktop& operator=(const PrivateDesktop&) = delete;

    // ":N", or empty when the server did not start.
    const QString& display() const { return display_; }
    // Why the desktop is not there, for the test's failure message.
    const QString& problem() const { return problem_; }

private:
    void startBusIfAsked(const Parts& parts);
    void startSessionBus();

    QProcess server_;
    QProcess windowManager_;
    QProcess sessionBus_;
    QTemporaryDir runtimeDirectory_;
    QString display_;
    QString problem_;
    QByteArray previousDisplay_;
    QByteArray previousBus_;
    QByteArray previousRuntimeDirectory_;
};

} // namespace brindlet::test
