#include "WorkspaceWindow.h"

#include "AppWindow.h"

#include "PreferencesView.h"
#include "SessionView.h"

namespace brindlet {

WorkspaceWindow::WorkspaceWindow(SessionView& session, PreferencesView& preferences)
    : session_(session)
    , preferences_(preferences)
{
}

QQuickView& WorkspaceWindow::view()
{
    // Made when first opened: a program that lives in the tray carries no scene it doesn't show.
    if (!view_) {
        view_ = makeAppWindow(QStringLiteral("Brindlet"), QSize(900, 680), QSize(760, 580),
            QStringLiteral("Workspace.qml"),
            { { QStringLiteral("session"), &session_ }, { QStringLiteral("prefs"), &preferences_ } });
    }
    return *view_;
}

void WorkspaceWindow::open()
{
    view().show();
}

void WorkspaceWindow::bringForward()
{
    open();
    view_->raise();
    view_->requestActivate();
}

void WorkspaceWindow::close()
{
    if (view_)
        view_->close();
}

} // namespace brindlet
