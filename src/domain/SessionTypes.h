#pragma once

#include <QString>

namespace brindlet {

enum class GenerationMode { command, quickFix };

enum class SettingsSection { general, ai, presets };

enum class QuickHUDPhase {
    bubble,
    compose,
    moreActions,
    presetEditor,
    providerPicker,
    sourceDetail,
    generating,
    quickFixGenerating,
    quickFixStatus,
    review,
    confirmation,
};

enum class QuickHUDTrigger { selectionBubble, globalHotKey, menuBar, workspaceToolbar };
// The analytics word: "selection_bubble", "global_hotkey", "menu_bar", "workspace_toolbar".
QString analyticsWord(QuickHUDTrigger trigger);

enum class QuickHUDSourceMode { read, edit };

// A seam for fixed marketing screens; nothing in a normal run sets it.
enum class MarketingPreviewState { onboarding, workspace, hudCompose, hudReview, presets, quickFix };

} // namespace brindlet
