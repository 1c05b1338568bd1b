// Capture: turning what the user looks at in the frontmost application into a snapshot.

#include "SelectionService.h"
#include "domain/VisibleText.h"
#include "platform/AccessibilityVocabulary.h"

#include <QLineF>

#include <cmath>

namespace brindlet {

namespace {

enum class CapturePass { focusedSelection, ancestorWebSelection, browserWindowSelection, focusedCaret };

const QString categoryName = QStringLiteral("SelectionCapture");

double distanceToCentre(const QPointF& point, const Rect& rect)
{
    return QLineF(point, QPointF(rect.x + rect.width / 2, rect.y + rect.height / 2)).length();
}

bool containsAnyOf(const QString& text, std::initializer_list<const char*> needles, bool whole)
{
    for (const char* needle : needles) {
        if (whole ? text == QLatin1String(needle) : text.contains(QLatin1String(needle)))
            return true;
    }
    return false;
}

} // namespace

SelectionService::SelectionService(SelectionPlatform platform, QObject* parent)
    : QObject(parent)
    , platform_(platform)
{
    Q_ASSERT(platform_.accessibility && platform_.workspace && platform_.pointer && platform_.log
        && platform_.pasteboard && platform_.keyEvents);
}

SelectionService::~SelectionService()
{
    if (monitoringTask_)
        monitoringTask_->cancel();
}

void SelectionService::requestAccessibilityAccess()
{
    platform_.accessibility->isProcessTrustedWithPrompt();
    if (!platform_.accessibility->isProcessTrusted())
        platform_.workspace->openAccessibilitySettings();
}

void SelectionService::logInfo(const QString& message)
{
    platform_.log->log(SystemLogging::Level::info, categoryName, message);
}

void SelectionService::logError(const QString& message)
{
    platform_.log->log(SystemLogging::Level::error, categoryName, message);
}

std::optional<QString> SelectionService::readString(const ElementHandle& element, const QString& attribute)
{
    return platform_.accessibility->copyAttributeValue(element, attribute).as<QString>();
}

std::optional<SelectionSnapshot> SelectionService::capture(bool interactive)
{
    AccessibilityServing& ax = *platform_.accessibility;
    if (!ax.isProcessTrusted() || platform_.workspace->isApplicationActive())
        return std::nullopt;
    // Never read this program's own windows.
    const auto frontmost = platform_.workspace->frontmostApplication();
    if (!frontmost || frontmost->processIdentifier == platform_.workspace->currentProcessID())
        return std::nullopt;
    const std::int32_t processID = frontmost->processIdentifier;

    const ElementHandle application = ax.applicationElement(processID);
    if (!application)
        return std::nullopt;
    const bool deferred = isDeferredHost(frontmost->bundleURL, frontmost->bundleIdentifier);
    prepareDeferredHost(application, deferred, processID);

    const auto focused = ax.copyAttributeValue(application, AXAttribute::focusedUIElement).as<ElementHandle>();
    // Only the listed browsers have an address bar to skip; no other application pays for the look.
    if (!interactive && focused && isAddressBarBrowser(frontmost->bundleIdentifier)
        && isAddressBar(readMetadata(*focused)))
        return std::nullopt;

    std::vector<CapturePass> passes { CapturePass::focusedSelection, CapturePass::ancestorWebSelection };
    if (deferred)
        passes.push_back(CapturePass::browserWindowSelection);
    if (interactive)
        passes.push_back(CapturePass::focusedCaret);

    std::optional<Payload> accepted;
    for (CapturePass pass : passes) {
        std::optional<Payload> payload;
        switch (pass) {
        case CapturePass::focusedSelection:
            if (focused)
                payload = read(*focused, false);
            break;
        case CapturePass::ancestorWebSelection:
            if (focused) {
                // The focused element itself was read by the first pass.
                const auto webArea = cachedAncestorWebArea(*focused, processID);
                if (webArea && ax.hash(*webArea) != ax.hash(*focused)) {
                    payload = read(*webArea, false);
                    if (payload && !hasVisibleCharacters(payload->text))
                        payload.reset();
                }
            }
            break;
        case CapturePass::browserWindowSelection: payload = readBrowserWindowSelection(application, processID); break;
        case CapturePass::focusedCaret:
            if (focused)
                payload = read(*focused, true);
            break;
        }
        // Blank text is no selection; an empty one is a cursor, which only an asked-for capture takes.
        if (payload && (payload->text.isEmpty() ? interactive : hasVisibleCharacters(payload->text))) {
            accepted = payload;
            break;
        }
    }
    if (!accepted)
        return std::nullopt;

    auto target = std::make_shared<SelectionTarget>();
    target->element = accepted->element;
    target->focusedElement = focused.value_or(nullptr);
    target->sourceWindow
        = ax.copyAttributeValue(application, AXAttribute::focusedWindow).as<ElementHandle>().value_or(nullptr);
    target->processID = processID;
    target->originalText = accepted->text;
    target->originalValue = readString(accepted->element, AXAttribute::value);
    target->originalRange = accepted->range;
    target->hadSelection = !accepted->text.isEmpty();
    target->isSettable = accepted->isSettable;

    SelectionSnapshot snapshot;
    snapshot.id = QUuid::createUuid();
    if (!accepted->text.isEmpty())
        snapshot.text = accepted->text;
    snapshot.appName = frontmost->localizedName.value_or(QStringLiteral("Current app"));
    snapshot.bounds = accepted->bounds;
    snapshot.target = target;
    return snapshot;
}

std::optional<SelectionService::Payload> SelectionService::read(const ElementHandle& element, bool allowEmpty)
{
    AccessibilityServing& ax = *platform_.accessibility;
    const auto range = ax.copyAttributeValue(element, AXAttribute::selectedTextRange).as<TextRange>();
    QString text = readString(element, AXAttribute::selectedText).value_or(QString());
    if (text.isEmpty() && range && range->length >= 1) {
        text = ax.copyParameterizedAttributeValue(element, AXParameterizedAttribute::stringForRange, *range)
                   .as<QString>()
                   .value_or(QString());
    }
    const auto [status, settable] = ax.isAttributeSettable(element, AXAttribute::selectedText);
    const bool isSettable = status == AXErrorCode::success && settable && range;
    if (!text.isEmpty() || (allowEmpty && isSettable))
        return Payload { element, text, range, selectionBounds(element, range), isSettable };

    if (auto marked = readTextMarkerSelection(element))
        return Payload { element, marked->first, std::nullopt, marked->second, false };
    return std::nullopt;
}

std::optional<Rect> SelectionService::selectionBounds(const ElementHandle& element, std::optional<TextRange> range)
{
    AccessibilityServing& ax = *platform_.accessibility;
    if (!range)
        return std::nullopt;
    auto boundsFor = [&](TextRange r) {
        return ax.copyParameterizedAttributeValue(element, AXParameterizedAttribute::boundsForRange, r).as<Rect>();
    };
    std::optional<Rect> bounds = boundsFor(*range);
    if (range->location < 0 || range->length < 1)
        return bounds;

    // Anchor at the end of the selection nearest the pointer, not around a whole paragraph.
    const auto first = boundsFor({ range->location, 1 });
    const auto last = boundsFor({ range->location + range->length - 1, 1 });
    const auto pointer = platform_.pointer->pointerLocation();
    std::optional<Rect> edge;
    if (!first)
        edge = last;
    else if (!last)
        edge = first;
    else if (!pointer)
        edge = last;
    else
        edge = distanceToCentre(*pointer, *first) < distanceToCentre(*pointer, *last) ? first : last;
    return edge ? edge : bounds;
}

SelectionService::FocusedMetadata SelectionService::readMetadata(const ElementHandle& focused)
{
    AccessibilityServing& ax = *platform_.accessibility;
    FocusedMetadata metadata;
    metadata.role = readString(focused, AXAttribute::role);
    metadata.identifier = readString(focused, AXAttribute::identifier);
    metadata.domIdentifier = readString(focused, AXAttribute::domIdentifier);
    metadata.elementDescription = readString(focused, AXAttribute::description);
    metadata.title = readString(focused, AXAttribute::title);

    QSet<std::uint64_t> seen { ax.hash(focused) };
    ElementHandle current = focused;
    for (int step = 0; step < 24; ++step) {
        const auto parent = ax.copyAttributeValue(current, AXAttribute::parent).as<ElementHandle>();
        if (!parent)
            break;
        const std::uint64_t hash = ax.hash(*parent);
        if (seen.contains(hash))
            break;
        seen.insert(hash);
        if (const auto role = readString(*parent, AXAttribute::role))
            metadata.ancestorRoles.append(*role);
        current = *parent;
    }
    return metadata;
}

bool SelectionService::isAddressBarBrowser(const std::optional<QString>& bundleIdentifier)
{
    // Other browsers are deliberately not listed: they go through unfiltered.
    return bundleIdentifier
        && containsAnyOf(bundleIdentifier->toLower(),
            { "com.apple.safari", "com.apple.safaritechnologypreview", "org.chromium.chromium", "com.google.chrome",
                "org.mozilla.firefox", "org.mozilla.nightly" },
            true);
}

bool SelectionService::isAddressBar(const FocusedMetadata& metadata)
{
    if (!metadata.role
        || !QStringList { AXRole::textField, AXRole::searchField, AXRole::comboBox }.contains(*metadata.role))
        return false;
    if (metadata.ancestorRoles.contains(AXRole::webArea))
        return false; // a field inside a page belongs to the page
    for (const auto& id : { metadata.identifier, metadata.domIdentifier }) {
        if (id
            && containsAnyOf(
                id->toLower(), { "web_browser_address_and_search_field", "urlbar-input", "urlbar", "omnibox" }, true))
            return true;
    }
    for (const auto& label : { metadata.elementDescription, metadata.title }) {
        if (label
            && containsAnyOf(
                label->toLower(), { "address and search", "search or enter address", "smart search field" }, false))
            return true;
    }
    return metadata.ancestorRoles.contains(AXRole::toolbar);
}

} // namespace brindlet
