// Text inside web content: hosts that publish their tree only when asked, text markers, the web
// area above the focused element and the web areas inside the application's window.

#include "SelectionService.h"
#include "domain/VisibleText.h"
#include "platform/AccessibilityVocabulary.h"

#include <deque>

namespace brindlet {

namespace {
constexpr int ancestorSearchLimit = 24;
constexpr int treeSearchVisitLimit = 320;
constexpr int treeSearchDepthLimit = 11;
constexpr auto emptyHandedCacheLifetime = std::chrono::milliseconds(1200);
} // namespace

bool SelectionService::hasRole(const ElementHandle& element, const QString& role)
{
    return readString(element, AXAttribute::role) == role;
}

bool SelectionService::isDeferredHost(
    const std::optional<QString>& bundleURL, const std::optional<QString>& bundleIdentifier)
{
    if (bundleIdentifier == QLatin1String("com.openai.codex"))
        return true;
    if (!bundleURL)
        return false;
    const QString frameworks = *bundleURL + QStringLiteral("/Contents/Frameworks/");
    return platform_.workspace->fileExists(frameworks + QStringLiteral("Electron Framework.framework"))
        || platform_.workspace->fileExists(frameworks + QStringLiteral("Codex Framework.framework"));
}

void SelectionService::prepareDeferredHost(const ElementHandle& application, bool isDeferred, std::int32_t processID)
{
    if (!isDeferred || preparedAccessibilityProcessIDs_.contains(processID))
        return;
    const AXStatus status
        = platform_.accessibility->setAttributeValue(application, AXAttribute::manualAccessibility, true);
    // A host that does not know the attribute will never know it: asking again is pointless.
    if (status == AXErrorCode::success || status == AXErrorCode::attributeUnsupported)
        preparedAccessibilityProcessIDs_.insert(processID);
    logInfo(QStringLiteral("Requested deferred host accessibility tree pid=%1 status=%2").arg(processID).arg(status));
}

std::optional<std::pair<QString, std::optional<Rect>>> SelectionService::readTextMarkerSelection(
    const ElementHandle& element)
{
    AccessibilityServing& ax = *platform_.accessibility;
    const auto marker
        = ax.copyAttributeValue(element, AXAttribute::selectedTextMarkerRange).as<TextMarkerRangeHandle>();
    if (!marker)
        return std::nullopt;
    const auto text
        = ax.copyParameterizedAttributeValue(element, AXParameterizedAttribute::stringForTextMarkerRange, *marker)
              .as<QString>();
    if (!text || text->isEmpty())
        return std::nullopt;
    const auto bounds
        = ax.copyParameterizedAttributeValue(element, AXParameterizedAttribute::boundsForTextMarkerRange, *marker)
              .as<Rect>();
    return std::pair { *text, bounds };
}

std::optional<ElementHandle> SelectionService::findAncestorWebArea(const ElementHandle& focused)
{
    AccessibilityServing& ax = *platform_.accessibility;
    QSet<std::uint64_t> seen;
    ElementHandle current = focused;
    for (int looked = 0; looked < ancestorSearchLimit; ++looked) {
        const std::uint64_t hash = ax.hash(current);
        if (seen.contains(hash))
            return std::nullopt;
        seen.insert(hash);
        if (hasRole(current, AXRole::webArea))
            return current;
        const auto parent = ax.copyAttributeValue(current, AXAttribute::parent).as<ElementHandle>();
        if (!parent)
            return std::nullopt;
        current = *parent;
    }
    return std::nullopt;
}

std::optional<ElementHandle> SelectionService::cachedAncestorWebArea(
    const ElementHandle& focused, std::int32_t processID)
{
    const std::uint64_t focusedHash = platform_.accessibility->hash(focused);
    if (cachedWebSelectionSource_ && cachedWebSelectionSource_->processID == processID
        && cachedWebSelectionSource_->focusedHash == focusedHash)
        return cachedWebSelectionSource_->element;
    const auto found = findAncestorWebArea(focused);
    if (found)
        cachedWebSelectionSource_ = CachedSelectionSource { processID, focusedHash, *found };
    else
        cachedWebSelectionSource_.reset(); // so a failed walk repeats at the next capture
    return found;
}

std::vector<ElementHandle> SelectionService::searchWebAreas(const ElementHandle& root)
{
    AccessibilityServing& ax = *platform_.accessibility;
    std::vector<ElementHandle> found;
    std::deque<std::pair<ElementHandle, int>> queue { { root, 0 } };
    QSet<std::uint64_t> visited;
    while (!queue.empty() && visited.size() < treeSearchVisitLimit) {
        auto [element, depth] = std::move(queue.front());
        queue.pop_front();
        const std::uint64_t hash = ax.hash(element);
        if (visited.contains(hash))
            continue;
        visited.insert(hash);
        if (hasRole(element, AXRole::webArea)) {
            found.push_back(element);
            continue;
        }
        if (depth > treeSearchDepthLimit)
            continue;
        const auto children = ax.copyAttributeValue(element, AXAttribute::children)
                                  .as<QList<ElementHandle>>()
                                  .value_or(QList<ElementHandle>());
        for (const ElementHandle& child : children) {
            if (child)
                queue.emplace_back(child, depth + 1);
        }
    }
    return found;
}

std::optional<SelectionService::Payload> SelectionService::firstVisibleSelection(
    const std::vector<ElementHandle>& elements)
{
    for (const ElementHandle& element : elements) {
        const auto payload = read(element, false);
        if (payload && hasVisibleCharacters(payload->text)) {
            // The winner is read once more; should that fail, the first read still stands.
            auto again = read(element, false);
            return again ? again : payload;
        }
    }
    return std::nullopt;
}

std::optional<SelectionService::Payload> SelectionService::readBrowserWindowSelection(
    const ElementHandle& application, std::int32_t processID)
{
    AccessibilityServing& ax = *platform_.accessibility;
    std::vector<ElementHandle> roots;
    if (const auto focused = ax.copyAttributeValue(application, AXAttribute::focusedWindow).as<ElementHandle>()) {
        roots.push_back(*focused);
    } else {
        const auto windows = ax.copyAttributeValue(application, AXAttribute::windows)
                                 .as<QList<ElementHandle>>()
                                 .value_or(QList<ElementHandle>());
        for (const ElementHandle& window : windows) {
            if (window)
                roots.push_back(window);
        }
    }
    std::vector<std::uint64_t> rootHashes;
    for (const ElementHandle& root : roots)
        rootHashes.push_back(ax.hash(root));
    const auto now = timerSource().now();

    auto& cache = cachedBrowserSelectionSources_;
    if (cache && cache->processID == processID && cache->rootHashes == rootHashes) {
        if (auto payload = firstVisibleSelection(cache->elements))
            return payload;
        // The page is still there and was walked a moment ago: the selection is simply gone.
        const bool pageStillThere = std::any_of(cache->elements.begin(), cache->elements.end(),
            [this](const ElementHandle& e) { return hasRole(e, AXRole::webArea); });
        if (pageStillThere && now - cache->refreshedAt < emptyHandedCacheLifetime)
            return std::nullopt;
    }

    std::vector<ElementHandle> elements;
    for (const ElementHandle& root : roots) {
        auto found = searchWebAreas(root);
        elements.insert(elements.end(), found.begin(), found.end());
    }
    cache = CachedBrowserSelectionSources { processID, rootHashes, elements, now };
    return firstVisibleSelection(cache->elements);
}

} // namespace brindlet
