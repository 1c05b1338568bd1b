#include "AnalyticsEvent.h"

namespace brindlet {

QString wireName(AnalyticsEventType type)
{
    switch (type) {
    case AnalyticsEventType::firstLaunch: return QStringLiteral("FIRST_LAUNCH");
    case AnalyticsEventType::appLaunched: return QStringLiteral("APP_LAUNCHED");
    case AnalyticsEventType::dailyActive: return QStringLiteral("DAILY_ACTIVE");
    case AnalyticsEventType::onboardingCompleted: return QStringLiteral("ONBOARDING_COMPLETED");
    case AnalyticsEventType::quickCommandOpened: return QStringLiteral("QUICK_COMMAND_OPENED");
    case AnalyticsEventType::quickFixStarted: return QStringLiteral("QUICK_FIX_STARTED");
    case AnalyticsEventType::quickFixCompleted: return QStringLiteral("QUICK_FIX_COMPLETED");
    case AnalyticsEventType::workspaceOpened: return QStringLiteral("WORKSPACE_OPENED");
    case AnalyticsEventType::generationStarted: return QStringLiteral("GENERATION_STARTED");
    case AnalyticsEventType::generationCompleted: return QStringLiteral("GENERATION_COMPLETED");
    case AnalyticsEventType::generationFailed: return QStringLiteral("GENERATION_FAILED");
    case AnalyticsEventType::generationCancelled: return QStringLiteral("GENERATION_CANCELLED");
    case AnalyticsEventType::deliveryCompleted: return QStringLiteral("DELIVERY_COMPLETED");
    case AnalyticsEventType::deliveryFailed: return QStringLiteral("DELIVERY_FAILED");
    case AnalyticsEventType::presetCreated: return QStringLiteral("PRESET_CREATED");
    }
    return {};
}

} // namespace brindlet
