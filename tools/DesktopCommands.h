#pragma once

// brindlet-cli's commands on the desktop it finds (DISPLAY, the session bus): capture, replace
// and fix run the application's own capture and guarded delivery against the focused field.

#include "tasks/Task.h"

#include <QString>

#include <exception>
#include <functional>

namespace brindlet {

struct DesktopCommand {
    enum class Kind { capture, replace, fix };
    Kind kind = Kind::capture;
    QString replacement; // for replace
    // For fix: the configured provider's answer to a prompt, and how its failure is reported.
    std::function<Task<QString>(QString prompt)> generate;
    std::function<void(const std::exception_ptr&)> reportGenerationFailure;
};

// Runs the command in the running QGuiApplication and sets the exit code, which a stop signal
// may also set meanwhile.
void runDesktopCommand(const DesktopCommand& command, int* exitCode);

} // namespace brindlet
