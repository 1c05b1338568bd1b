#pragma once

namespace brindlet {

// The platform's accessibility service, as far as the model asks it directly. Selection
// capture and delivery reach the rest of it through SelectionServing.
class AccessibilityServing {
public:
    virtual ~AccessibilityServing() = default;
    // Whether this process may read and write other applications' text.
    virtual bool isProcessTrusted() = 0;
};

} // namespace brindlet
