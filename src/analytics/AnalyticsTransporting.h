#pragma once

#include "AnalyticsEvent.h"
#include "tasks/Task.h"

namespace brindlet {

// Delivers one batch; throws when it was not accepted, and the batch stays queued.
class AnalyticsTransporting {
public:
    virtual ~AnalyticsTransporting() = default;
    virtual Task<void> send(QList<AnalyticsEventRequest> requests) = 0;
};

} // namespace brindlet
