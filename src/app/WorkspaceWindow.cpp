#include "WorkspaceWindow.h"

#include "PreferencesView.h"
#include "SessionView.h"

#include <QQmlContext>

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
        view_ = std::make_unique<QQuickView>();
        view_->setTitle(QStringLiteral("Brindlet"));
        view_->setResizeMode(QQuickView::SizeRootObjectToView);
        view_->resize(900, 680);
        view_->setMinimumSize(QSize(760, 580));
        view_->rootContext()->setContextProperty(QStringLiteral("session"), &session_);
        view_->rootContext()->setContextProperty(QStringLiteral("prefs"), &preferences_);
        view_->setSource(QUrl(QStringLiteral("qrc:/brindlet/qml/Workspace.qml")));
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
