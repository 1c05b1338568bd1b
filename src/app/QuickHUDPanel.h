#pragma once

// The Quick HUD on the desktop: one floating panel, drawn in QML, that the model drives through
// the window coordinator.

#include "SessionView.h"
#include "platform/linux/ProcessExitWatch.h"
#include "platform/linux/X11InputMonitor.h"
#include "windows/HUDPlacement.h"
#include "windows/WindowCoordinating.h"

#include <QQuickView>

namespace brindlet {

class SettingsWindow;
class WorkspaceWindow;

class QuickHUDPanel final : public WindowCoordinating {
public:
    QuickHUDPanel(AppModel& model, SessionView& session, WorkspaceWindow& workspace, SettingsWindow& settings);

    void quickHUDPhaseDidChange(QuickHUDPhase phase) override;
    void showQuickHUD(std::optional<Rect> bounds, std::optional<std::int32_t> processID) override;
    void hideQuickHUD() override;
    void showSelectionBubble(std::optional<Rect> bounds) override;
    void hideSelectionBubble() override;
    void closeApplicationWindows() override;
    void bringWorkspaceForward() override;
    void resignKeyboard() override;

private:
    QQuickView& view();
    void layOut(QuickHUDPhase phase);
    // An open HUD closes on a click outside it, when the displays change, and when the
    // application it came up over ends.
    void watchClicks(QuickHUDPhase phase);
    void dismissIfOpen();

    AppModel& model_;
    SessionView& session_;
    WorkspaceWindow& workspace_;
    SettingsWindow& settings_;
    std::unique_ptr<QQuickView> view_;
    // One showing: where it is anchored and which edge stays put.
    std::optional<QuickHUDAnchor> anchor_;
    std::optional<QuickHUDStablePlacement> stable_;
    X11InputMonitor clicks_;
    ProcessExitWatch sourceExit_;
    QObject displayWatch_;
};

} // namespace brindlet
