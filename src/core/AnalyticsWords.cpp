#include "AnalyticsWords.h"

#include "providers/ProviderError.h"
#include "selection/SelectionError.h"
#include "tasks/Cancellation.h"

namespace brindlet {

QString analyticsAction(const GenerationRequest& request)
{
    if (!request.preset) {
        const bool hasSource = request.snapshot && request.snapshot->hasText();
        return hasSource ? QStringLiteral("custom") : QStringLiteral("new_content");
    }
    if (!request.preset->isBuiltIn)
        return QStringLiteral("preset");
    static const std::pair<const char*, const char*> words[] = {
        { "Fix Writing", "fix_writing" },
        { "Rewrite", "rewrite" },
        { "Summarize", "summarize" },
        { "Explain", "explain" },
        { "Translate", "translate" },
        { "Write", "new_content" },
    };
    for (const auto& [name, word] : words) {
        if (request.preset->name == QLatin1String(name))
            return QString::fromLatin1(word);
    }
    return QStringLiteral("unknown");
}

QString durationBucket(double seconds)
{
    if (seconds < 1)
        return QStringLiteral("lt1s");
    if (seconds < 3)
        return QStringLiteral("1to3s");
    if (seconds < 10)
        return QStringLiteral("3to10s");
    if (seconds < 30)
        return QStringLiteral("10to30s");
    return QStringLiteral("30splus");
}

QString errorClass(const std::exception_ptr& error)
{
    try {
        std::rethrow_exception(error);
    } catch (const CancellationError&) {
        return QStringLiteral("cancelled");
    } catch (const ProviderError& providerError) {
        switch (providerError.kind()) {
        case ProviderError::Kind::cliNotFound:
        case ProviderError::Kind::unavailable: return QStringLiteral("provider_unavailable");
        case ProviderError::Kind::invalidURL:
        case ProviderError::Kind::emptyResponse:
        case ProviderError::Kind::outputTooLarge: return QStringLiteral("provider_error");
        case ProviderError::Kind::timedOut: return QStringLiteral("timeout");
        }
    } catch (const SelectionError& selectionError) {
        switch (selectionError.kind()) {
        case SelectionError::Kind::emptyResult: return QStringLiteral("validation");
        case SelectionError::Kind::targetUnavailable:
        case SelectionError::Kind::targetChanged: return QStringLiteral("stale_target");
        case SelectionError::Kind::deliveryRejected: return QStringLiteral("rejected");
        }
    } catch (...) {
    }
    return QStringLiteral("unknown");
}

AnalyticsDimensions openedWords(const QString& trigger, const QString& surface)
{
    AnalyticsDimensions dimensions;
    dimensions.trigger = trigger;
    dimensions.surface = surface;
    return dimensions;
}

AnalyticsDimensions generationWords(const GenerationRequest& request, GenerationMode mode,
    std::optional<QuickHUDTrigger> hudTrigger, std::optional<QString> outcome, std::optional<double> seconds)
{
    AnalyticsDimensions dimensions;
    dimensions.provider = wireName(request.provider);
    dimensions.action = analyticsAction(request);
    if (mode == GenerationMode::quickFix) {
        dimensions.surface = QStringLiteral("quick_fix");
        dimensions.trigger = QStringLiteral("global_hotkey");
    } else if (hudTrigger) {
        dimensions.surface = QStringLiteral("quick_hud");
        dimensions.trigger = analyticsWord(*hudTrigger);
    } else {
        dimensions.surface = QStringLiteral("workspace");
        dimensions.trigger = QStringLiteral("workspace");
    }
    dimensions.delivery = wireName(request.delivery);
    dimensions.outcome = std::move(outcome);
    if (seconds)
        dimensions.durationBucket = durationBucket(*seconds);
    return dimensions;
}

QString deliveredOutcome(DeliveryPreference delivery)
{
    switch (delivery) {
    case DeliveryPreference::replace: return QStringLiteral("replaced");
    case DeliveryPreference::insert: return QStringLiteral("inserted");
    default: return QStringLiteral("copied");
    }
}

AnalyticsDimensions deliveryWords(const QString& surface, DeliveryPreference delivery, const QString& outcome)
{
    AnalyticsDimensions dimensions;
    dimensions.surface = surface;
    dimensions.delivery = wireName(delivery);
    dimensions.outcome = outcome;
    return dimensions;
}

AnalyticsDimensions quickFixWords(ProviderKind provider, std::optional<QString> outcome)
{
    AnalyticsDimensions dimensions;
    dimensions.provider = wireName(provider);
    dimensions.action = QStringLiteral("fix_writing");
    dimensions.trigger = QStringLiteral("global_hotkey");
    dimensions.surface = QStringLiteral("quick_fix");
    dimensions.delivery = wireName(DeliveryPreference::replace);
    dimensions.outcome = std::move(outcome);
    return dimensions;
}

} // namespace brindlet
