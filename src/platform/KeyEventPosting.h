#pragma once

#include <cstdint>

namespace brindlet {

// Synthetic key events, delivered to the frontmost application as if typed.
class KeyEventPosting {
public:
    static constexpr std::uint16_t keyCodeV = 9;
    static constexpr std::uint64_t commandFlag = 0x100000;

    virtual ~KeyEventPosting() = default;
    // False when the event could not be made.
    virtual bool postKeyEvent(std::uint16_t keyCode, bool keyDown, std::uint64_t flags) = 0;
};

} // namespace brindlet
