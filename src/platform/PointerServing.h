#pragma once

#include <QPointF>

#include <cstdint>
#include <optional>

namespace brindlet {

// The pointer, in the accessibility space (origin at the top left of the primary display).
class PointerServing {
public:
    virtual ~PointerServing() = default;
    // Absent when the platform cannot say.
    virtual std::optional<QPointF> pointerLocation() = 0;
    // Bit 0 is the left button.
    virtual std::uint64_t pressedMouseButtons() = 0;
};

} // namespace brindlet
