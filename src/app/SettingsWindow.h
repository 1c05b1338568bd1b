#pragma once

// The settings window. For now it holds the preset library, where custom presets are edited and
// deleted; the other sections join it as they are built.

#include <QQuickView>

#include <memory>

namespace brindlet {

class PresetLibraryView;

class SettingsWindow {
public:
    explicit SettingsWindow(PresetLibraryView& presets);

    void open();
    void close();

private:
    PresetLibraryView& presets_;
    std::unique_ptr<QQuickView> view_;
};

} // namespace brindlet
