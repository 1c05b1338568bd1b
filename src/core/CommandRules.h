#pragma once

// The checks a command passes before it becomes a request, and the text it sends. Shared by
// the model and the command-line client so both refuse and send exactly the same things.

#include "domain/Preset.h"

#include <QString>

#include <optional>

namespace brindlet {

struct CommandSource {
    std::optional<QString> capturedText; // the snapshot's text; absent for a cursor or no snapshot
    QString workingText; // the user's editable copy of it
};

// The message that refuses the command, or nothing when it may run. direction is trimmed.
std::optional<QString> commandRefusal(
    const std::optional<Preset>& preset, const QString& direction, const CommandSource& source);

// The text that goes into the prompt: none for new content or without captured text, else the
// working copy as it stands, even when the user has emptied it.
std::optional<QString> commandSelectedText(const std::optional<Preset>& preset, const CommandSource& source);

// Whether a Quick Fix result leaves the text as it was: equal under canonical equivalence after
// trimming both ends, so there is nothing to write.
bool fixChangesNothing(const QString& source, const QString& fixed);

} // namespace brindlet
