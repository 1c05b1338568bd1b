#pragma once

// The enumerations the surfaces bind to, registered with Qt's meta-object system so that QML
// can read and pass them by name.

#include <QObject>

namespace brindlet {
Q_NAMESPACE

enum class ProviderKind { ollama, claude, codex, cursor, gemini };
Q_ENUM_NS(ProviderKind)

enum class PresetInput { selectionRequired, selectionOptional, newContent };
Q_ENUM_NS(PresetInput)

enum class DeliveryPreference { smart, replace, insert, copy };
Q_ENUM_NS(DeliveryPreference)

enum class GenerationMode { command, quickFix };
Q_ENUM_NS(GenerationMode)

enum class SettingsSection { general, ai, presets };
Q_ENUM_NS(SettingsSection)

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
Q_ENUM_NS(QuickHUDPhase)

enum class QuickHUDTrigger { selectionBubble, globalHotKey, menuBar, workspaceToolbar };
Q_ENUM_NS(QuickHUDTrigger)

enum class QuickHUDSourceMode { read, edit };
Q_ENUM_NS(QuickHUDSourceMode)

// A seam for fixed marketing screens; nothing in a normal run sets it.
enum class MarketingPreviewState { onboarding, workspace, hudCompose, hudReview, presets, quickFix };
Q_ENUM_NS(MarketingPreviewState)

enum class GlobalHotKeyAction { quickCommand, openWorkspace, quickFix };
Q_ENUM_NS(GlobalHotKeyAction)

} // namespace brindlet
