#pragma once

#include "domain/Enums.h"
#include "platform/KeyEvent.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <array>
#include <cstdint>
#include <map>
#include <optional>

namespace brindlet {

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

    // A shortcut from a key press, or nothing for a press that cannot be one: it needs Control,
    // Option or Command (Shift only adds to them) and a key with a name.
    static std::optional<HotKeyShortcut> fromKeyEvent(const KeyEvent& event);

    // The serialised form: {"keyCode":49,"modifiers":12,"keyLabel":"Space"}.
    QByteArray toJson() const;
    static std::optional<HotKeyShortcut> fromJsonObject(const QJsonObject& object);
};

size_t qHash(const HotKeyShortcut& shortcut, size_t seed = 0);

using HotKeyShortcuts = std::map<GlobalHotKeyAction, HotKeyShortcut>;

} // namespace brindlet
