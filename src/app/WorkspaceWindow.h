#pragma once

// The workspace window: the application's one ordinary window, where longer work happens and
// the way in on a desktop without a tray; until setup is done it shows onboarding. Closing it
// never ends the application.

#include <QQuickView>

#include <memory>

namespace brindlet {

class PreferencesView;
class SessionView;

class WorkspaceWindow {
public:
    WorkspaceWindow(SessionView& session, PreferencesView& preferences);

    void open();
    void bringForward();
    void close();
    bool isOpen() const { return view_ && view_->isVisible(); }

private:
    QQuickView& view();

    SessionView& session_;
    PreferencesView& preferences_;
    std::unique_ptr<QQuickView> view_;
};

} // namespace brindlet
