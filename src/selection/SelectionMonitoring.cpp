// Passive monitoring: a loop on the main thread that reports new selections for the bubble. It
// reads through accessibility only and never touches the clipboard.

#include "SelectionService.h"

namespace brindlet {

void SelectionService::setOnSelectionChanged(std::function<void(std::optional<SelectionSnapshot>)> callback)
{
    onSelectionChanged_ = std::move(callback);
}

void SelectionService::startMonitoring()
{
    if (!monitoringTask_)
        monitoringTask_ = spawn(monitor(QPointer<SelectionService>(this)));
}

Task<void> SelectionService::monitor(QPointer<SelectionService> service)
{
    for (;;) {
        try {
            co_await sleepFor(monitoringInterval);
        } catch (const CancellationError&) {
            // An interrupted wait counts as finished; the test below ends the loop.
        }
        const bool cancelled = co_await isTaskCancelled();
        if (cancelled || !service)
            co_return;
        service->monitoringTick();
    }
}

std::optional<SelectionSnapshot> SelectionService::recheckPassively()
{
    auto snapshot = capture(false);
    lastPassiveCaptureHadSnapshot_ = snapshot.has_value();
    return snapshot;
}

void SelectionService::monitoringTick()
{
    if (platform_.workspace->isApplicationActive())
        return;

    // While the left button is down the user is still dragging out a selection: hide the
    // bubble once per press and capture nothing.
    if (platform_.pointer->pressedMouseButtons() & 1) {
        if (passiveSelectionWasSuppressedForDrag_)
            return;
        passiveSelectionWasSuppressedForDrag_ = true;
        if (!lastIdentity_ && !lastPassiveCaptureHadSnapshot_)
            return;
        lastIdentity_.reset();
        if (onSelectionChanged_)
            onSelectionChanged_(std::nullopt);
        return;
    }

    passiveSelectionWasSuppressedForDrag_ = false;
    const bool previous = lastPassiveCaptureHadSnapshot_;
    const auto snapshot = capture(false);
    lastPassiveCaptureHadSnapshot_ = snapshot.has_value();

    if (snapshot && snapshot->text) {
        const auto& target = *snapshot->target;
        SelectionIdentity identity { target.processID, platform_.accessibility->hash(target.element), *snapshot->text,
            target.originalRange ? std::optional(target.originalRange->location) : std::nullopt,
            target.originalRange ? std::optional(target.originalRange->length) : std::nullopt, snapshot->bounds };
        if (identity == lastIdentity_)
            return;
        lastIdentity_ = identity;
        // Lengths and process ids only: a log line never holds selected text.
        logInfo(QStringLiteral("Observed selection metadata pid=%1 length=%2")
                    .arg(target.processID)
                    .arg(snapshot->text->size()));
        if (onSelectionChanged_)
            onSelectionChanged_(snapshot);
        return;
    }
    if (!lastIdentity_ && !previous)
        return;
    lastIdentity_.reset();
    if (onSelectionChanged_)
        onSelectionChanged_(std::nullopt);
}

} // namespace brindlet
