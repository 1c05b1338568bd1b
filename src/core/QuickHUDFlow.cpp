#include "QuickHUDFlow.h"

namespace brindlet {

namespace {
bool isOpen(QuickHUDPhase phase)
{
    return phase != QuickHUDPhase::bubble;
}
} // namespace

std::optional<QuickHUDPhase> QuickHUDFlow::toggleMoreActions(const Facts& facts) const
{
    if (facts.generating)
        return std::nullopt;
    return facts.phase == QuickHUDPhase::moreActions ? QuickHUDPhase::compose : QuickHUDPhase::moreActions;
}

std::optional<QuickHUDPhase> QuickHUDFlow::toggleProviderPicker(const Facts& facts) const
{
    if (facts.generating)
        return std::nullopt;
    return facts.phase == QuickHUDPhase::providerPicker ? QuickHUDPhase::compose : QuickHUDPhase::providerPicker;
}

std::optional<QuickHUDFlow::SourceDetail> QuickHUDFlow::openSourceDetail(const Facts& facts, bool editing)
{
    if (!facts.hasSourceText || facts.generating || facts.delivering)
        return std::nullopt;
    const bool fromReview = facts.phase == QuickHUDPhase::review;
    sourceDetailReturnPhase_ = fromReview ? QuickHUDPhase::review : QuickHUDPhase::compose;
    // From a result the source can only be read.
    return SourceDetail { QuickHUDPhase::sourceDetail,
        editing && !fromReview ? QuickHUDSourceMode::edit : QuickHUDSourceMode::read };
}

std::optional<QuickHUDPhase> QuickHUDFlow::closeSourceDetail(const Facts& facts) const
{
    if (facts.phase != QuickHUDPhase::sourceDetail)
        return std::nullopt;
    return sourceDetailReturnPhase_;
}

std::optional<QuickHUDPhase> QuickHUDFlow::returnToCompose(const Facts& facts) const
{
    if (facts.phase != QuickHUDPhase::review || facts.delivering)
        return std::nullopt;
    return QuickHUDPhase::compose; // the result stays, as the retained result
}

std::optional<QuickHUDPhase> QuickHUDFlow::reviewRetainedResult(const Facts& facts) const
{
    if (!facts.hasResult || facts.generating)
        return std::nullopt;
    return QuickHUDPhase::review;
}

std::optional<QuickHUDPhase> QuickHUDFlow::afterGeneration(const Facts& facts, GenerationEnd end) const
{
    switch (end) {
    case GenerationEnd::succeeded: return isOpen(facts.phase) ? std::optional(QuickHUDPhase::review) : std::nullopt;
    case GenerationEnd::failed: return isOpen(facts.phase) ? std::optional(QuickHUDPhase::compose) : std::nullopt;
    case GenerationEnd::cancelled:
        // Only a panel still showing the generation goes back; one the user moved on stays.
        return facts.phase == QuickHUDPhase::generating ? std::optional(QuickHUDPhase::compose) : std::nullopt;
    }
    return std::nullopt;
}

} // namespace brindlet
