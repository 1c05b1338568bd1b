#pragma once

#include <memory>

namespace brindlet {

// A key chord whose events have all been made before any is posted, so that a chord that cannot
// be made in full posts nothing and never leaves a key down.
class KeyChord {
public:
    virtual ~KeyChord() = default;
    virtual void postKeyDown() = 0;
    virtual void postKeyUp() = 0;
};

// Synthetic key events, delivered to the frontmost application as if typed.
class KeyEventPosting {
public:
    virtual ~KeyEventPosting() = default;
    // The chord that pastes the clipboard in the frontmost application (Command-V on the Mac,
    // Ctrl+V on Linux); null when its events cannot be made.
    virtual std::unique_ptr<KeyChord> makePasteChord() = 0;
};

} // namespace brindlet
