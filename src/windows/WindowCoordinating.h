#pragma once

#include "domain/SelectionSnapshot.h"
#include "domain/SessionTypes.h"

#include <cstdint>
#include <optional>

namespace brindlet {

// The floating panel, the bubble and the application's windows, as the model drives them.
class WindowCoordinating {
public:
    virtual ~WindowCoordinating() = default;
    virtual void quickHUDPhaseDidChange(QuickHUDPhase phase) = 0;
    virtual void showQuickHUD(std::optional<Rect> bounds, std::optional<std::int32_t> processID) = 0;
    virtual void hideQuickHUD() = 0;
    virtual void showSelectionBubble(std::optional<Rect> bounds) = 0;
    // Hides the panel only while the phase is `bubble`.
    virtual void hideSelectionBubble() = 0;
    virtual void closeApplicationWindows() = 0;
    virtual void bringWorkspaceForward() = 0;
    // Hands the keyboard back to the application the panel came up over.
    virtual void resignKeyboard() = 0;
};

} // namespace brindlet
