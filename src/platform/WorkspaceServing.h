#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace brindlet {

struct RunningApplication {
    std::int32_t processIdentifier = 0;
    std::optional<QString> bundleURL; // a local path to the application bundle
    std::optional<QString> bundleIdentifier;
    std::optional<QString> localizedName;
};

// Running applications, this process, and the few file and settings operations the program needs.
class WorkspaceServing {
public:
    virtual ~WorkspaceServing() = default;
    virtual std::optional<RunningApplication> frontmostApplication() = 0;
    virtual std::int32_t currentProcessID() = 0;
    // Whether this application is the active one.
    virtual bool isApplicationActive() = 0;
    virtual bool fileExists(const QString& path) = 0;
    // Shows the user where this program is granted access to other applications' text.
    virtual void openAccessibilitySettings() = 0;

    // Liveness by signal 0: a process owned by another user counts as alive.
    virtual bool isProcessAlive(std::int32_t processID) = 0;
    // Whether a running application has this process id.
    virtual bool isRunningApplication(std::int32_t processID) = 0;
    // Hands activation to the application and brings it forward; it may come later or never.
    virtual void activateApplication(std::int32_t processID) = 0;
};

} // namespace brindlet
