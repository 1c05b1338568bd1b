#pragma once

// The settings window: general behaviour, shortcuts and updates, the providers, and the preset
// library.

#include <QQuickView>

#include <memory>

namespace brindlet {

class AppUpdateController;
class PreferencesView;
class PresetLibraryView;
class SessionView;

class SettingsWindow {
public:
    SettingsWindow(
        SessionView& session, PreferencesView& preferences, PresetLibraryView& presets, AppUpdateController& updates);

    void open();
    void close();

private:
    SessionView& session_;
    PreferencesView& preferences_;
    PresetLibraryView& presets_;
    AppUpdateController& updates_;
    std::unique_ptr<QQuickView> view_;
};

} // namespace brindlet
