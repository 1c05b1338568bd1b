#pragma once

#include "domain/Preset.h"
#include "domain/SelectionSnapshot.h"
#include "tasks/Task.h"

#include <QString>

#include <functional>
#include <optional>

namespace brindlet {

// Capture, passive monitoring and guarded delivery in other applications.
class SelectionServing {
public:
    virtual ~SelectionServing() = default;
    virtual void setOnSelectionChanged(std::function<void(std::optional<SelectionSnapshot>)> callback) = 0;
    virtual void startMonitoring() = 0;
    virtual std::optional<SelectionSnapshot> capture(bool interactive) = 0;
    virtual void requestAccessibilityAccess() = 0;
    // Returns the status text to show; fails with a SelectionError.
    virtual Task<QString> deliver(QString text, SelectionSnapshot snapshot, DeliveryPreference preference) = 0;
    // A passive capture made for the selection bubble, outside the monitoring loop; the loop
    // counts it as its own when it decides whether the selection went away.
    virtual std::optional<SelectionSnapshot> recheckPassively() = 0;
};

} // namespace brindlet
