#include "NoAnalytics.h"

namespace brindlet {

Task<void> NoAnalytics::start(bool)
{
    co_return;
}

Task<void> NoAnalytics::setEnabled(bool)
{
    co_return;
}

Task<void> NoAnalytics::record(AnalyticsEventType, AnalyticsDimensions)
{
    co_return;
}

} // namespace brindlet
