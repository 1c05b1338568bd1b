#pragma once

// The Quick HUD's rules of movement: where each move of the user and each end of a generation
// takes the panel, or that it stays where it is. The model keeps the phase it publishes, asks
// the flow with the facts that guard a move, and moves where the flow answers.

#include "domain/Enums.h"

#include <optional>

namespace brindlet {

class QuickHUDFlow {
public:
    // What a move may depend on, as the model knows it at that moment.
    struct Facts {
        QuickHUDPhase phase = QuickHUDPhase::bubble;
        bool generating = false;
        bool delivering = false;
        bool hasResult = false;
        bool hasSourceText = false;
    };
    struct SourceDetail {
        QuickHUDPhase phase = QuickHUDPhase::sourceDetail;
        QuickHUDSourceMode mode = QuickHUDSourceMode::read;
    };
    enum class GenerationEnd { succeeded, failed, cancelled };

    // Each answers the phase to move to; nothing means the move is refused where the HUD stands.
    std::optional<QuickHUDPhase> toggleMoreActions(const Facts& facts) const;
    std::optional<QuickHUDPhase> toggleProviderPicker(const Facts& facts) const;
    // Remembers where closing the source detail returns to.
    std::optional<SourceDetail> openSourceDetail(const Facts& facts, bool editing);
    std::optional<QuickHUDPhase> closeSourceDetail(const Facts& facts) const;
    std::optional<QuickHUDPhase> returnToCompose(const Facts& facts) const;
    std::optional<QuickHUDPhase> reviewRetainedResult(const Facts& facts) const;
    // Where an ordinary generation's end leaves the panel; Quick Fix goes its own way.
    std::optional<QuickHUDPhase> afterGeneration(const Facts& facts, GenerationEnd end) const;

    // A new session starts with nothing to return to.
    void reset() { sourceDetailReturnPhase_ = QuickHUDPhase::compose; }

private:
    QuickHUDPhase sourceDetailReturnPhase_ = QuickHUDPhase::compose;
};

} // namespace brindlet
