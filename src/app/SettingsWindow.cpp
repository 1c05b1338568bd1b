#include "SettingsWindow.h"

#include "PreferencesView.h"
#include "PresetLibraryView.h"
#include "SessionView.h"

#include <QQmlContext>

namespace brindlet {

SettingsWindow::SettingsWindow(SessionView& session, PreferencesView& preferences, PresetLibraryView& presets)
    : session_(session)
    , preferences_(preferences)
    , presets_(presets)
{
}

void SettingsWindow::open()
{
    if (!view_) {
        view_ = std::make_unique<QQuickView>();
        view_->setTitle(QStringLiteral("Brindlet Settings"));
        view_->setResizeMode(QQuickView::SizeRootObjectToView);
        view_->resize(760, 620);
        view_->setMinimumSize(QSize(680, 520));
        view_->rootContext()->setContextProperty(QStringLiteral("library"), &presets_);
        view_->rootContext()->setContextProperty(QStringLiteral("prefs"), &preferences_);
        view_->rootContext()->setContextProperty(QStringLiteral("session"), &session_);
        view_->setSource(QUrl(QStringLiteral("qrc:/brindlet/qml/Settings.qml")));
    }
    view_->show();
    view_->raise();
    view_->requestActivate();
}

void SettingsWindow::close()
{
    if (view_)
        view_->close();
}

} // namespace brindlet
