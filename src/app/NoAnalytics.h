#pragma once

// Analytics as the application has it until its client exists: nothing is recorded or sent.

#include "analytics/AnalyticsTracking.h"

namespace brindlet {

class NoAnalytics final : public AnalyticsTracking {
public:
    Task<void> start(bool enabled) override;
    Task<void> setEnabled(bool value) override;
    Task<void> record(AnalyticsEventType type, AnalyticsDimensions dimensions) override;
};

} // namespace brindlet
