#pragma once

#include "AnalyticsEvent.h"
#include "tasks/Task.h"

namespace brindlet {

// The analytics client as the model uses it. Callers start these as fire-and-forget tasks;
// no flow waits for them and they never fail a flow.
class AnalyticsTracking {
public:
    virtual ~AnalyticsTracking() = default;
    virtual Task<void> start(bool enabled) = 0;
    virtual Task<void> setEnabled(bool value) = 0;
    virtual Task<void> record(AnalyticsEventType type, AnalyticsDimensions dimensions) = 0;
};

} // namespace brindlet
