#pragma once

// A private X desktop for tests that need a real one: Xvfb on a free display, with openbox as
// window manager. DISPLAY points at it while the object lives; everything it started ends with
// it, by process id.

#include <QByteArray>
#include <QProcess>
#include <QString>

namespace brindlet::test {

class PrivateDesktop {
public:
    PrivateDesktop();
    ~PrivateDesktop();
    PrivateDesktop(const PrivateDesktop&) = delete;
    PrivateDesktop& operator=(const PrivateDesktop&) = delete;

    // ":N", or empty when the server did not start.
    const QString& display() const { return display_; }
    // Why the desktop is not there, for the test's failure message.
    const QString& problem() const { return problem_; }

private:
    QProcess server_;
    QProcess windowManager_;
    QString display_;
    QString problem_;
    QByteArray previousDisplay_;
};

} // namespace brindlet::test
