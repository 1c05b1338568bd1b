#pragma once

// Sentences and analytics words shared by the model's flows.

#include "analytics/AnalyticsEvent.h"

#include <QString>

namespace brindlet::words {

inline const QString enableAccessibilityForCapture = QStringLiteral(
    "Enable Accessibility to capture selected text or a writing cursor. You can still generate and copy content.");

inline AnalyticsDimensions opened(const QString& trigger, const QString& surface)
{
    AnalyticsDimensions dimensions;
    dimensions.trigger = trigger;
    dimensions.surface = surface;
    return dimensions;
}

} // namespace brindlet::words
