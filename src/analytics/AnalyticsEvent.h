#pragma once

#include <QString>

#include <optional>

namespace brindlet {

enum class AnalyticsEventType {
    firstLaunch,
    appLaunched,
    dailyActive,
    onboardingCompleted,
    quickCommandOpened,
    quickFixStarted,
    quickFixCompleted,
    workspaceOpened,
    generationStarted,
    generationCompleted,
    generationFailed,
    generationCancelled,
    deliveryCompleted,
    deliveryFailed,
    presetCreated,
};

// "GENERATION_STARTED" and its like.
QString wireName(AnalyticsEventType type);

// Every value comes from the closed vocabularies; an unset one is left out of the wire form.
struct AnalyticsDimensions {
    std::optional<QString> provider;
    std::optional<QString> action;
    std::optional<QString> trigger;
    std::optional<QString> surface;
    std::optional<QString> delivery;
    std::optional<QString> outcome;
    std::optional<QString> durationBucket;
    friend bool operator==(const AnalyticsDimensions&, const AnalyticsDimensions&) = default;
};

} // namespace brindlet
