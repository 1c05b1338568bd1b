#pragma once

// The settings window: general behaviour and shortcuts, the providers, and the preset library.

#include <QQuickView>

#include <memory>

namespace brindlet {

class PreferencesView;
class PresetLibraryView;
class SessionView;

class SettingsWindow {
public:
    SettingsWindow(SessionView& session, PreferencesView& preferences, PresetLibraryView& presets);

    void open();
    void close();

private:
    SessionView& session_;
    PreferencesView& preferences_;
    PresetLibraryView& presets_;
    std::unique_ptr<QQuickView> view_;
};

} // namespace brindlet
