#pragma once

// The workspace window: the application's one ordinary window, where longer work happens and
// the way in on a desktop without a tray. Closing it never ends the application.

#include <QQuickView>

#include <memory>

namespace brindlet {

class SessionView;

class WorkspaceWindow {
public:
    explicit WorkspaceWindow(SessionView& session);

    void open();
    void bringForward();
    void close();
    bool isOpen() const { return view_ && view_->isVisible(); }

private:
    QQuickView& view();

    SessionView& session_;
    std::unique_ptr<QQuickView> view_;
};

} // namespace brindlet
