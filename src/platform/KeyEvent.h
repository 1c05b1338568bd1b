#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace brindlet {

// A key-down event as the platform's keyboard layer reports it: device-independent modifier
// flags (Control 0x40000, Option 0x80000, Shift 0x20000, Command 0x100000), the virtual key
// code, and the characters the key makes without modifiers.
struct KeyEvent {
    static constexpr std::uint64_t controlFlag = 0x40000;
    static constexpr std::uint64_t optionFlag = 0x80000;
    static constexpr std::uint64_t shiftFlag = 0x20000;
    static constexpr std::uint64_t commandFlag = 0x100000;

    std::uint64_t modifierFlags = 0;
    std::uint16_t keyCode = 0;
    std::optional<QString> charactersIgnoringModifiers;
};

} // namespace brindlet
