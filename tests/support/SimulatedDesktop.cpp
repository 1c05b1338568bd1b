#include "SimulatedDesktop.h"
#include "platform/AccessibilityVocabulary.h"

#include <algorithm>
#include <atomic>

namespace brindlet::simulated {

namespace {

std::uint64_t nextIdentity()
{
    static std::atomic<std::uint64_t> counter { 0x5100 };
    return ++counter;
}

class SimHandle final : public AccessibilityElement {
public:
    explicit SimHandle(const SimElementPtr& element)
        : node(element)
        , identity(element->identity)
    {
    }
    std::weak_ptr<SimElement> node;
    std::uint64_t identity;
};

class SimMarker final : public AXTextMarkerRange {
public:
    explicit SimMarker(const SimElementPtr& element)
        : owner(element)
    {
    }
    std::weak_ptr<SimElement> owner;
};

AXResult ok(AXValue value)
{
    return { AXErrorCode::success, std::move(value) };
}
AXResult fail(AXStatus status)
{
    return { status, std::nullopt };
}
AXResult optionalString(const std::optional<QString>& text)
{
    return text ? ok(*text) : fail(AXErrorCode::noValue);
}

bool validRange(const SimElement& element, TextRange range)
{
    return range.location >= 0 && range.length >= 0 && range.location + range.length <= element.value.size();
}

} // namespace

// ---- elements ----

SimElementPtr SimElement::addChild(const QString& childRole)
{
    auto child = std::make_shared<SimElement>();
    child->identity = nextIdentity();
    child->processID = processID;
    child->role = childRole;
    child->parent = weak_from_this();
    children.push_back(child);
    return child;
}

Rect SimElement::boundsOf(TextRange range) const
{
    auto lineAndColumn = [this](qsizetype index) {
        const QStringView before = QStringView(value).left(index);
        const qsizetype line = before.count(u'\n');
        const qsizetype lineStart = before.lastIndexOf(u'\n') + 1;
        return std::pair { line, index - lineStart };
    };
    const auto [firstLine, firstColumn] = lineAndColumn(range.location);
    if (range.length == 0)
        return { origin.x() + firstColumn * charWidth, origin.y() + firstLine * lineHeight, 0, lineHeight };
    const auto [lastLine, lastColumn] = lineAndColumn(range.location + range.length - 1);
    if (firstLine == lastLine)
        return { origin.x() + firstColumn * charWidth, origin.y() + firstLine * lineHeight,
            (lastColumn - firstColumn + 1) * charWidth, lineHeight };
    qsizetype widest = 0;
    for (const QStringView line : QStringView(value).split(u'\n'))
        widest = std::max(widest, line.size());
    return { origin.x(), origin.y() + firstLine * lineHeight, widest * charWidth,
        (lastLine - firstLine + 1) * lineHeight };
}

void SimElement::replaceSelection(const QString& text)
{
    value.replace(selection.location, selection.length, text);
    selection = { selection.location + text.size(), 0 };
}

SimElementPtr SimApplication::addWindow(const QString& windowTitle)
{
    auto window = element->addChild(AXRole::window);
    window->title = windowTitle;
    if (!focusedWindow.lock())
        focusedWindow = window;
    return window;
}

void SimApplication::focus(const SimElementPtr& target)
{
    focusedElement = target;
    for (auto node = target; node; node = node->parent.lock()) {
        if (node->role == AXRole::window) {
            focusedWindow = node;
            break;
        }
    }
}

// ---- scenes ----

SimApplication& SimulatedDesktop::addApplication(std::int32_t processID, const QString& bundleIdentifier,
    std::optional<QString> name, std::optional<QString> bundleURL)
{
    SimApplication app;
    app.info = { processID, std::move(bundleURL), bundleIdentifier, std::move(name) };
    app.element = std::make_shared<SimElement>();
    app.element->identity = nextIdentity();
    app.element->processID = processID;
    app.element->role = AXRole::application;
    auto& stored = applications_[processID] = std::move(app);
    if (!frontmost_)
        frontmost_ = processID;
    return stored;
}

SimElementPtr SimulatedDesktop::addText(
    const SimElementPtr& parent, const QString& role, const QString& value, TextRange selection)
{
    auto element = parent->addChild(role);
    element->isText = true;
    element->value = value;
    element->selection = selection;
    element->origin = QPointF(100, 200);
    return element;
}

void SimulatedDesktop::removeApplication(std::int32_t processID)
{
    auto it = applications_.find(processID);
    if (it == applications_.end())
        return;
    std::vector<SimElementPtr> pending { it->second.element };
    while (!pending.empty()) {
        auto node = pending.back();
        pending.pop_back();
        node->alive = false;
        pending.insert(pending.end(), node->children.begin(), node->children.end());
    }
    applications_.erase(it);
    if (frontmost_ == processID)
        frontmost_.reset();
}

ElementHandle SimulatedDesktop::handle(const SimElementPtr& element)
{
    return element ? std::make_shared<SimHandle>(element) : nullptr;
}

SimElementPtr SimulatedDesktop::resolve(const ElementHandle& handle) const
{
    const auto* sim = dynamic_cast<const SimHandle*>(handle.get());
    auto node = sim ? sim->node.lock() : nullptr;
    return node && node->alive ? node : nullptr;
}

SimApplication* SimulatedDesktop::applicationOf(const SimElement& element)
{
    auto it = applications_.find(element.processID);
    return it == applications_.end() ? nullptr : &it->second;
}

// ---- AccessibilityServing ----

bool SimulatedDesktop::isProcessTrusted()
{
    ++trustQueries;
    return trusted;
}

bool SimulatedDesktop::isProcessTrustedWithPrompt()
{
    if (promptGrantsTrust)
        trusted = true;
    return isProcessTrusted();
}

ElementHandle SimulatedDesktop::applicationElement(std::int32_t processID)
{
    auto it = applications_.find(processID);
    return it == applications_.end() ? nullptr : handle(it->second.element);
}

AXResult SimulatedDesktop::readAttribute(SimElement& element, const QString& attribute)
{
    if (auto it = element.wrongKindReads.find(attribute); it != element.wrongKindReads.end())
        return ok(it->second);

    SimApplication* app = applicationOf(element);
    const bool isApplication = app && app->element.get() == &element;
    // A deferred host shows nothing below its application element until asked.
    if (app && app->defersTree && !app->treePublished && isApplication && attribute != AXAttribute::role)
        return fail(AXErrorCode::noValue);

    if (attribute == AXAttribute::role)
        return element.role.isEmpty() ? fail(AXErrorCode::noValue) : ok(element.role);
    if (attribute == AXAttribute::identifier)
        return optionalString(element.identifier);
    if (attribute == AXAttribute::description)
        return optionalString(element.description);
    if (attribute == AXAttribute::title)
        return optionalString(element.title);
    if (attribute == AXAttribute::parent) {
        auto parent = element.parentOverride ? element.parentOverride->lock() : element.parent.lock();
        return parent ? ok(handle(parent)) : fail(AXErrorCode::noValue);
    }
    if (attribute == AXAttribute::children || (isApplication && attribute == AXAttribute::windows)) {
        QList<ElementHandle> handles;
        for (const auto& child : element.children)
            handles.append(handle(child));
        return ok(handles);
    }
    if (isApplication && attribute == AXAttribute::focusedUIElement) {
        auto focused = app->focusedElement.lock();
        return focused && focused->alive ? ok(handle(focused)) : fail(AXErrorCode::noValue);
    }
    if (isApplication && attribute == AXAttribute::focusedWindow) {
        auto window = app->focusedWindow.lock();
        return window && window->alive ? ok(handle(window)) : fail(AXErrorCode::noValue);
    }
    if (attribute == AXAttribute::selectedTextMarkerRange) {
        if (!element.markerSelection)
            return fail(AXErrorCode::noValue);
        return ok(TextMarkerRangeHandle(std::make_shared<SimMarker>(element.shared_from_this())));
    }
    if (!element.isText)
        return fail(AXErrorCode::attributeUnsupported);
    if (attribute == AXAttribute::value)
        return ok(element.value);
    if (attribute == AXAttribute::selectedText)
        return ok(element.selectedText());
    if (attribute == AXAttribute::selectedTextRange)
        return ok(element.selection);
    if (attribute == AXAttribute::numberOfCharacters)
        return ok(double(element.value.size()));
    return fail(AXErrorCode::attributeUnsupported);
}

AXResult SimulatedDesktop::copyAttributeValue(const ElementHandle& handle, const QString& attribute)
{
    ++accessibilityMessages;
    auto element = resolve(handle);
    return element ? readAttribute(*element, attribute) : fail(AXErrorCode::invalidUIElement);
}

AXResult SimulatedDesktop::copyParameterizedAttributeValue(
    const ElementHandle& handle, const QString& attribute, const AXValue& parameter)
{
    ++accessibilityMessages;
    auto element = resolve(handle);
    if (!element)
        return fail(AXErrorCode::invalidUIElement);
    if (auto it = element->wrongKindReads.find(attribute); it != element->wrongKindReads.end())
        return ok(it->second);

    if (attribute == AXParameterizedAttribute::stringForTextMarkerRange
        || attribute == AXParameterizedAttribute::boundsForTextMarkerRange) {
        const auto* markerHandle = std::get_if<TextMarkerRangeHandle>(&parameter);
        const auto* marker = markerHandle ? dynamic_cast<const SimMarker*>(markerHandle->get()) : nullptr;
        if (!marker || marker->owner.lock() != element || !element->markerSelection)
            return fail(AXErrorCode::illegalArgument);
        // Markers carry no bounds here, as in hosts that do not give them.
        return attribute == AXParameterizedAttribute::stringForTextMarkerRange ? ok(*element->markerSelection)
                                                                               : fail(AXErrorCode::noValue);
    }
    const auto* range = std::get_if<TextRange>(&parameter);
    if (!element->isText || !range)
        return fail(AXErrorCode::attributeUnsupported);
    if (!validRange(*element, *range))
        return fail(AXErrorCode::illegalArgument);
    if (attribute == AXParameterizedAttribute::stringForRange)
        return ok(element->value.mid(range->location, range->length));
    if (attribute == AXParameterizedAttribute::boundsForRange)
        return ok(element->boundsOf(*range));
    return fail(AXErrorCode::attributeUnsupported);
}

std::pair<AXStatus, bool> SimulatedDesktop::isAttributeSettable(const ElementHandle& handle, const QString& attribute)
{
    ++accessibilityMessages;
    auto element = resolve(handle);
    if (!element)
        return { AXErrorCode::invalidUIElement, false };
    const bool textAttribute = attribute == AXAttribute::selectedText || attribute == AXAttribute::value
        || attribute == AXAttribute::selectedTextRange;
    return { AXErrorCode::success, element->isText && textAttribute && element->selectedTextSettable };
}

AXStatus SimulatedDesktop::setAttributeValue(
    const ElementHandle& handle, const QString& attribute, const AXValue& value)
{
    ++accessibilityMessages;
    auto element = resolve(handle);
    if (!element)
        return AXErrorCode::invalidUIElement;
    SimApplication* app = applicationOf(*element);
    if (attribute == AXAttribute::manualAccessibility && app && app->element == element) {
        ++app->manualAccessibilityRequests;
        if (app->manualAccessibilityStatus == AXErrorCode::success && std::holds_alternative<bool>(value))
            app->treePublished = true;
        return app->manualAccessibilityStatus;
    }
    if (attribute == AXAttribute::focusedWindow && app && app->element == element) {
        auto window = resolve(std::get_if<ElementHandle>(&value) ? std::get<ElementHandle>(value) : nullptr);
        if (!window)
            return AXErrorCode::illegalArgument;
        app->focusedWindow = window;
        return AXErrorCode::success;
    }
    if (attribute == AXAttribute::focused && app) {
        if (std::get_if<bool>(&value) && std::get<bool>(value))
            app->focus(element);
        return AXErrorCode::success;
    }
    const QString* text = std::get_if<QString>(&value);
    if (attribute == AXAttribute::selectedText && element->isText && text) {
        ++element->writes;
        if (!element->selectedTextSettable)
            return AXErrorCode::attributeUnsupported;
        switch (element->writeBehaviour) {
        case SimElement::WriteBehaviour::accepts: element->replaceSelection(*text); return AXErrorCode::success;
        case SimElement::WriteBehaviour::changesNothing: return AXErrorCode::success;
        case SimElement::WriteBehaviour::refuses: return AXErrorCode::cannotComplete;
        case SimElement::WriteBehaviour::collapsesSelection:
            element->replaceSelection(QString());
            return AXErrorCode::success;
        }
    }
    if (attribute == AXAttribute::selectedTextRange && element->isText) {
        const auto* range = std::get_if<TextRange>(&value);
        if (!range || !validRange(*element, *range))
            return AXErrorCode::illegalArgument;
        element->selection = *range;
        return AXErrorCode::success;
    }
    return AXErrorCode::attributeUnsupported;
}

AXStatus SimulatedDesktop::performAction(const ElementHandle& handle, const QString& action)
{
    ++accessibilityMessages;
    auto element = resolve(handle);
    if (!element)
        return AXErrorCode::invalidUIElement;
    return action == AXAction::raise && element->role == AXRole::window ? AXErrorCode::success
                                                                        : AXErrorCode::actionUnsupported;
}

std::uint64_t SimulatedDesktop::hash(const ElementHandle& handle)
{
    const auto* sim = dynamic_cast<const SimHandle*>(handle.get());
    return sim ? sim->identity : 0;
}

// ---- WorkspaceServing ----

std::optional<RunningApplication> SimulatedDesktop::frontmostApplication()
{
    if (!frontmost_)
        return std::nullopt;
    if (*frontmost_ == ownProcessID)
        return RunningApplication { ownProcessID, QStringLiteral("/Applications/Brindlet.app"),
            QStringLiteral("com.brindlet.native"), QStringLiteral("Brindlet") };
    auto it = applications_.find(*frontmost_);
    return it == applications_.end() ? std::nullopt : std::optional(it->second.info);
}

bool SimulatedDesktop::isProcessAlive(std::int32_t processID)
{
    return processID == ownProcessID || applications_.count(processID) > 0 || foreignProcesses_.contains(processID);
}

void SimulatedDesktop::activateApplication(std::int32_t processID)
{
    auto it = applications_.find(processID);
    if (it == applications_.end())
        return;
    ++it->second.activations;
    if (!it->second.refusesFront) {
        frontmost_ = processID;
        ownApplicationActive = false;
    }
    if (onActivate)
        onActivate(processID);
}

// ---- PasteboardServing ----

void SimulatedDesktop::clipboardWritten()
{
    ++changeCount_;
    if (onClipboardWrite)
        onClipboardWrite(changeCount_);
}

void SimulatedDesktop::clearContents()
{
    pasteboard_.clear();
    ++changeCount_;
}

bool SimulatedDesktop::setString(const QString& text)
{
    if (setStringFails)
        return false;
    pasteboard_ = { PasteboardItem { { plainTextType, text.toUtf8() } } };
    clipboardWritten();
    return true;
}

void SimulatedDesktop::writeItems(const QList<PasteboardItem>& items)
{
    pasteboard_ = items;
    clipboardWritten();
}

std::optional<QString> SimulatedDesktop::clipboardText() const
{
    for (const PasteboardItem& item : pasteboard_) {
        for (const auto& [type, data] : item) {
            if (type == plainTextType)
                return QString::fromUtf8(data);
        }
    }
    return std::nullopt;
}

// ---- KeyEventPosting ----

namespace {
// Command-V: on key-down the clipboard's text goes into the frontmost application's focused
// element, if it takes pastes.
class SimulatedPasteChord final : public KeyChord {
public:
    explicit SimulatedPasteChord(std::function<void(bool)> post)
        : post_(std::move(post))
    {
    }
    void postKeyDown() override { post_(true); }
    void postKeyUp() override { post_(false); }

private:
    std::function<void(bool)> post_;
};
} // namespace

std::unique_ptr<KeyChord> SimulatedDesktop::makePasteChord()
{
    if (keyUpCannotBeMade)
        return nullptr;
    return std::make_unique<SimulatedPasteChord>([this](bool keyDown) {
        const std::int32_t target = frontmost_.value_or(0);
        postedKeyEvents
            << QStringLiteral("%1 pid=%2").arg(keyDown ? QStringLiteral("down") : QStringLiteral("up")).arg(target);
        auto it = applications_.find(target);
        auto focused = it == applications_.end() ? nullptr : it->second.focusedElement.lock();
        const auto text = clipboardText();
        if (keyDown && focused && focused->isText && focused->selectedTextSettable && focused->acceptsPaste && text) {
            ++focused->pastes;
            focused->replaceSelection(*text);
        }
    });
}

} // namespace brindlet::simulated
