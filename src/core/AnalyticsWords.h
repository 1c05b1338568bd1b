#pragma once

// How the model turns requests and failures into the closed analytics vocabulary.

#include "domain/GenerationRequest.h"

#include <QString>

#include <exception>

namespace brindlet {

// "custom", "new_content", "preset", or the word of a built-in found by its exact name.
QString analyticsAction(const GenerationRequest& request);
// "lt1s", "1to3s", "3to10s", "10to30s" or "30splus"; negative spans count as under a second.
QString durationBucket(double seconds);
// The outcome class of a failure: "cancelled", "provider_unavailable", "timeout", ...
QString errorClass(const std::exception_ptr& error);

} // namespace brindlet
