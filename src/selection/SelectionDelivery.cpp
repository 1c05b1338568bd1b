// Guarded delivery: the document is altered only after proving the selection unchanged, and a
// write counts only once it is read back. A paste fallback restores the user's clipboard
// unless someone else has written to it meanwhile.

#include "SelectionError.h"
#include "SelectionService.h"
#include "platform/AccessibilityVocabulary.h"

#include <QThread>

namespace brindlet {

namespace {

using namespace std::chrono_literals;

constexpr int frontmostChecks = 25;
constexpr auto frontmostPoll = 40ms;
constexpr auto settleAfterFocus = 90ms;
constexpr auto readBackPoll = 50ms;
constexpr auto directReadBackDeadline = 500ms;
constexpr auto clipboardReadTime = 300ms;
constexpr auto clipboardReadPoll = 10ms;
constexpr auto clipboardReadDeadline = 2s;
constexpr auto pasteReadBackDeadline = 1200ms;
constexpr auto keyChordGap = 12; // milliseconds between key-down and key-up

[[noreturn]] void fail(SelectionError::Kind kind)
{
    throw SelectionError(kind);
}

// A wait that is interrupted by cancellation counts as finished; the caller tests afterwards.
Task<void> pause(Duration duration)
{
    try {
        co_await sleepFor(duration);
    } catch (const CancellationError&) {
    }
}

} // namespace

Task<QString> SelectionService::deliver(QString text, SelectionSnapshot snapshot, DeliveryPreference preference)
{
    if (text.isEmpty())
        fail(SelectionError::Kind::emptyResult);
    if (preference == DeliveryPreference::copy) {
        // Never looks at the target: a stale or dead one still gets its copy.
        platform_.pasteboard->clearContents();
        platform_.pasteboard->setString(text);
        co_return QStringLiteral("Copied to the clipboard.");
    }
    const std::shared_ptr<const SelectionTarget> target = snapshot.target;
    if (!target || !target->isSettable)
        fail(SelectionError::Kind::targetUnavailable);
    const std::int32_t pid = target->processID;
    if (!platform_.workspace->isProcessAlive(pid) || !platform_.workspace->isRunningApplication(pid))
        fail(SelectionError::Kind::targetUnavailable);
    logInfo(QStringLiteral("Starting guarded delivery pid=%1 preference=%2").arg(pid).arg(wireName(preference)));

    platform_.workspace->activateApplication(pid);
    const bool frontmost = co_await waitForFrontmost(pid);
    if (!frontmost)
        fail(SelectionError::Kind::targetUnavailable);
    restoreFocus(*target);
    co_await pause(settleAfterFocus);
    co_await checkCancellation(); // the last point at which a cancel stops a delivery

    if (!isUnchanged(*target))
        fail(SelectionError::Kind::targetChanged);
    if (preference == DeliveryPreference::smart)
        preference = target->hadSelection ? DeliveryPreference::replace : DeliveryPreference::insert;
    if ((preference == DeliveryPreference::replace) != target->hadSelection)
        fail(SelectionError::Kind::targetChanged); // the explicit wish cannot be met; nothing written
    const QString success = target->hadSelection ? QStringLiteral("Replaced the selected text.")
                                                 : QStringLiteral("Inserted at the saved cursor.");

    const AXStatus status
        = platform_.accessibility->setAttributeValue(target->element, AXAttribute::selectedText, text);
    logInfo(QStringLiteral("Direct AX delivery pid=%1 status=%2").arg(pid).arg(status));
    if (status == AXErrorCode::success) {
        const bool verified = co_await readBackLoop(text, target, directReadBackDeadline);
        if (verified)
            co_return success;
    }
    // The direct write did something that cannot be proven: a second write could duplicate it.
    if (!isUnchanged(*target))
        fail(SelectionError::Kind::deliveryRejected);

    restoreFocus(*target);
    const bool pasted = co_await guardedPaste(text, pid);
    if (!pasted)
        fail(SelectionError::Kind::deliveryRejected);
    const bool verified = co_await readBackLoop(text, target, pasteReadBackDeadline);
    if (!verified) {
        logError(QStringLiteral("Guarded paste could not be verified pid=%1").arg(pid));
        fail(SelectionError::Kind::deliveryRejected);
    }
    logInfo(QStringLiteral("Guarded paste verified pid=%1").arg(pid));
    co_return success;
}

Task<bool> SelectionService::waitForFrontmost(std::int32_t processID)
{
    for (int check = 0; check < frontmostChecks; ++check) {
        const bool cancelled = co_await isTaskCancelled();
        if (cancelled)
            co_return false;
        const auto frontmost = platform_.workspace->frontmostApplication();
        if (frontmost && frontmost->processIdentifier == processID)
            co_return true;
        co_await pause(frontmostPoll);
    }
    co_return false;
}

void SelectionService::restoreFocus(const SelectionTarget& target)
{
    AccessibilityServing& ax = *platform_.accessibility;
    const ElementHandle application = ax.applicationElement(target.processID);
    if (target.sourceWindow && application) {
        ax.setAttributeValue(application, AXAttribute::focusedWindow, target.sourceWindow);
        ax.performAction(target.sourceWindow, AXAction::raise);
    }
    if (target.focusedElement) {
        const AXStatus status = ax.setAttributeValue(target.focusedElement, AXAttribute::focused, true);
        logInfo(QStringLiteral("Restored source focus pid=%1 status=%2").arg(target.processID).arg(status));
    }
}

bool SelectionService::isUnchanged(const SelectionTarget& target)
{
    if (!target.originalRange)
        return false; // what was never recorded cannot be proven
    AccessibilityServing& ax = *platform_.accessibility;
    const auto range = ax.copyAttributeValue(target.element, AXAttribute::selectedTextRange).as<TextRange>();
    if (range != target.originalRange)
        return false;
    return readString(target.element, AXAttribute::selectedText).value_or(QString()) == target.originalText;
}

bool SelectionService::readBack(const QString& text, const SelectionTarget& target)
{
    AccessibilityServing& ax = *platform_.accessibility;
    if (readString(target.element, AXAttribute::selectedText) == text)
        return true; // some applications leave the new text selected
    if (!target.originalRange)
        return false;
    const TextRange written { target.originalRange->location, text.size() };
    if (ax.copyParameterizedAttributeValue(target.element, AXParameterizedAttribute::stringForRange, written)
            .as<QString>()
        == text)
        return true;
    const TextRange original = *target.originalRange;
    if (!target.originalValue || original.location < 0 || original.length < 0
        || original.location + original.length > target.originalValue->size())
        return false;
    const QString expected = QString(*target.originalValue).replace(original.location, original.length, text);
    return readString(target.element, AXAttribute::value) == expected;
}

Task<bool> SelectionService::readBackLoop(
    QString text, std::shared_ptr<const SelectionTarget> target, Duration deadline)
{
    const auto end = timerSource().now() + deadline;
    for (;;) {
        if (readBack(text, *target))
            co_return true;
        const bool cancelled = co_await isTaskCancelled();
        if (cancelled || timerSource().now() >= end)
            co_return false;
        co_await pause(readBackPoll);
    }
}

Task<bool> SelectionService::guardedPaste(QString text, std::int32_t processID)
{
    PasteboardServing& pasteboard = *platform_.pasteboard;
    const QList<PasteboardItem> saved = pasteboard.items();
    pasteboard.clearContents();
    if (!pasteboard.setString(text)) {
        restoreClipboard(saved);
        co_return false;
    }
    const qint64 ownWrite = pasteboard.changeCount();
    if (!postPasteShortcut(processID)) {
        if (pasteboard.changeCount() == ownWrite)
            restoreClipboard(saved);
        co_return false;
    }
    co_await waitForClipboardRead();
    // Whatever someone else wrote meanwhile is newer and belongs to the user: it stays.
    if (pasteboard.changeCount() == ownWrite)
        restoreClipboard(saved);
    const bool cancelled = co_await isTaskCancelled();
    co_return !cancelled;
}

Task<void> SelectionService::waitForClipboardRead()
{
    // Where the clipboard tells when the target has read it, nothing happens before that: a
    // target that reads it on the thread that answers accessibility calls would wait for us
    // while we wait for it. Elsewhere the target gets a fixed time.
    if (!platform_.pasteboard->lastStringWasRead()) {
        co_await pause(clipboardReadTime);
        co_return;
    }
    const auto end = timerSource().now() + clipboardReadDeadline;
    while (!*platform_.pasteboard->lastStringWasRead() && timerSource().now() < end) {
        const bool cancelled = co_await isTaskCancelled();
        if (cancelled)
            co_return;
        co_await pause(clipboardReadPoll);
    }
}

bool SelectionService::postPasteShortcut(std::int32_t processID)
{
    // The keystroke must never land in another application.
    const auto frontmost = platform_.workspace->frontmostApplication();
    if (!frontmost || frontmost->processIdentifier != processID)
        return false;
    const std::unique_ptr<KeyChord> chord = platform_.keyEvents->makePasteChord();
    if (!chord)
        return false;
    chord->postKeyDown();
    QThread::msleep(keyChordGap);
    chord->postKeyUp();
    logInfo(QStringLiteral("Posted guarded paste shortcut pid=%1").arg(processID));
    return true;
}

void SelectionService::restoreClipboard(const QList<PasteboardItem>& saved)
{
    platform_.pasteboard->clearContents();
    if (!saved.isEmpty())
        platform_.pasteboard->writeItems(saved);
}

} // namespace brindlet
