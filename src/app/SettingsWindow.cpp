#include "SettingsWindow.h"

#include "AppWindow.h"

#include "PreferencesView.h"
#include "PresetLibraryView.h"
#include "SessionView.h"
#include "updates/AppUpdateController.h"

namespace brindlet {

SettingsWindow::SettingsWindow(
    SessionView& session, PreferencesView& preferences, PresetLibraryView& presets, AppUpdateController& updates)
    : session_(session)
    , preferences_(preferences)
    , presets_(presets)
    , updates_(updates)
{
}

void SettingsWindow::open()
{
    if (!view_) {
        view_ = makeAppWindow(QStringLiteral("Brindlet Settings"), QSize(760, 620), QSize(680, 520),
            QStringLiteral("Settings.qml"),
            { { QStringLiteral("library"), &presets_ }, { QStringLiteral("prefs"), &preferences_ },
                { QStringLiteral("session"), &session_ }, { QStringLiteral("updates"), &updates_ } });
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
