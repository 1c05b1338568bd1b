#pragma once

#include <QString>

#include <array>
#include <cstdint>
#include <map>

namespace brindlet {

enum class GlobalHotKeyAction { quickCommand, openWorkspace, quickFix };
inline constexpr std::array<GlobalHotKeyAction, 3> allGlobalHotKeyActions { GlobalHotKeyAction::quickCommand,
    GlobalHotKeyAction::openWorkspace, GlobalHotKeyAction::quickFix };
QString displayName(GlobalHotKeyAction action);

// Bits of the modifier word: Control 1, Option 2, Shift 4, Command 8.
struct HotKeyModifiers {
    std::uint32_t rawValue = 0;
    static constexpr std::uint32_t control = 1;
    static constexpr std::uint32_t option = 2;
    static constexpr std::uint32_t shift = 4;
    static constexpr std::uint32_t command = 8;
    bool contains(std::uint32_t bit) const { return (rawValue & bit) != 0; }
    friend bool operator==(const HotKeyModifiers&, const HotKeyModifiers&) = default;
};

struct HotKeyShortcut {
    std::uint32_t keyCode = 0;
    HotKeyModifiers modifiers;
    QString keyLabel;

    // Modifier symbols in the order Control, Option, Shift, Command, then the label: "⇧⌘Space".
    QString displayText() const;
    friend bool operator==(const HotKeyShortcut&, const HotKeyShortcut&) = default;
};

using HotKeyShortcuts = std::map<GlobalHotKeyAction, HotKeyShortcut>;

} // namespace brindlet
