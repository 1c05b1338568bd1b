#pragma once

#include <memory>

namespace brindlet {

// A handle on another application's accessibility element. Backends subclass it; a handle
// stays valid after its element has gone, and reads through it then simply fail.
class AccessibilityElement {
public:
    virtual ~AccessibilityElement() = default;
};

using ElementHandle = std::shared_ptr<AccessibilityElement>;

} // namespace brindlet
