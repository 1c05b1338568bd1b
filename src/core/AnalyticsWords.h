#pragma once

// How the model turns requests and failures into the closed analytics vocabulary.

#include "analytics/AnalyticsEvent.h"
#include "domain/GenerationRequest.h"
#include "domain/SessionTypes.h"

#include <QString>

#include <exception>

namespace brindlet {

// "custom", "new_content", "preset", or the word of a built-in found by its exact name.
QString analyticsAction(const GenerationRequest& request);
// "lt1s", "1to3s", "3to10s", "10to30s" or "30splus"; negative spans count as under a second.
QString durationBucket(double seconds);
// The outcome class of a failure: "cancelled", "provider_unavailable", "timeout", ...
QString errorClass(const std::exception_ptr& error);

// The words of each kind of event the model records.
AnalyticsDimensions openedWords(const QString& trigger, const QString& surface);
// A generation's words: a Quick Fix run's, the open HUD's (with the trigger that opened it), or
// the workspace's when hudTrigger is absent. The duration is bucketed when given.
AnalyticsDimensions generationWords(const GenerationRequest& request, GenerationMode mode,
    std::optional<QuickHUDTrigger> hudTrigger, std::optional<QString> outcome, std::optional<double> seconds);
AnalyticsDimensions deliveryWords(const QString& surface, DeliveryPreference delivery, const QString& outcome);
// "replaced", "inserted", or "copied" (for copy and smart alike).
QString deliveredOutcome(DeliveryPreference delivery);
AnalyticsDimensions quickFixWords(ProviderKind provider, std::optional<QString> outcome);

} // namespace brindlet
