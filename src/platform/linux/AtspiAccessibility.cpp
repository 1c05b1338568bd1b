#include "AtspiAccessibility.h"

#include "platform/AccessibilityVocabulary.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusVariant>

#include <unordered_map>

namespace brindlet {

namespace {

const QString accessibleInterface = QStringLiteral("org.a11y.atspi.Accessible");
const QString textInterface = QStringLiteral("org.a11y.atspi.Text");
const QString editableTextInterface = QStringLiteral("org.a11y.atspi.EditableText");
const QString componentInterface = QStringLiteral("org.a11y.atspi.Component");
const QString collectionInterface = QStringLiteral("org.a11y.atspi.Collection");
const QString applicationInterface = QStringLiteral("org.a11y.atspi.Application");
const QString rootPath = QStringLiteral("/org/a11y/atspi/accessible/root");
const QString nullPath = QStringLiteral("/org/a11y/atspi/null");
constexpr uint screenCoordinates = 0;

// AT-SPI's state bits that the translation reads.
namespace State {
constexpr int active = 1;
constexpr int defunct = 6;
constexpr int editable = 7;
constexpr int focusable = 11;
constexpr int focused = 12;
constexpr int multiLine = 17;
constexpr int showing = 25;
constexpr int managesDescendants = 31;
} // namespace State

bool has(std::uint64_t states, int state)
{
    return (states >> state) & 1U;
}

// The walk for a focused element in toolkits without Collection stops after this many elements.
constexpr int focusWalkLimit = 600;

class AtspiElement final : public AccessibilityElement {
public:
    explicit AtspiElement(AtspiObject object)
        : object_(std::move(object))
    {
    }
    const AtspiObject& object() const { return object_; }

private:
    AtspiObject object_;
};

const AtspiObject* objectOf(const ElementHandle& element)
{
    const auto* atspi = dynamic_cast<const AtspiElement*>(element.get());
    return atspi ? &atspi->object() : nullptr;
}

AXStatus statusOf(const QDBusMessage& reply)
{
    if (reply.type() == QDBusMessage::ReplyMessage)
        return AXErrorCode::success;
    const QString name = reply.errorName();
    if (name == u"org.freedesktop.DBus.Error.UnknownMethod" || name == u"org.freedesktop.DBus.Error.UnknownInterface"
        || name == u"org.freedesktop.DBus.Error.UnknownProperty" || name == u"org.freedesktop.DBus.Error.NotSupported")
        return AXErrorCode::attributeUnsupported;
    if (name == u"org.freedesktop.DBus.Error.ServiceUnknown" || name == u"org.freedesktop.DBus.Error.UnknownObject"
        || name == u"org.freedesktop.DBus.Error.NameHasNoOwner")
        return AXErrorCode::invalidUIElement;
    if (name == u"org.freedesktop.DBus.Error.NoReply" || name == u"org.freedesktop.DBus.Error.Timeout"
        || name == u"org.freedesktop.DBus.Error.Disconnected")
        return AXErrorCode::cannotComplete;
    return AXErrorCode::failure;
}

AXResult success(AXValue value)
{
    return { AXErrorCode::success, std::move(value) };
}

AXResult failed(AXStatus status)
{
    return { status, std::nullopt };
}

// AT-SPI's role names (GetRoleName) in the vocabulary's roles; "text" depends on its lines.
const QString& roleFor(const QString& roleName, bool multiLine)
{
    static const std::unordered_map<QString, QString> roles {
        { QStringLiteral("entry"), AXRole::textField },
        { QStringLiteral("password text"), AXRole::textField },
        { QStringLiteral("spin button"), AXRole::textField },
        { QStringLiteral("document web"), AXRole::webArea },
        { QStringLiteral("frame"), AXRole::window },
        { QStringLiteral("window"), AXRole::window },
        { QStringLiteral("dialog"), AXRole::window },
        { QStringLiteral("application"), AXRole::application },
        { QStringLiteral("push button"), AXRole::button },
        { QStringLiteral("toggle button"), AXRole::button },
        { QStringLiteral("combo box"), AXRole::comboBox },
        { QStringLiteral("scroll pane"), AXRole::scrollArea },
        { QStringLiteral("tool bar"), AXRole::toolbar },
        { QStringLiteral("label"), AXRole::staticText },
        { QStringLiteral("static"), AXRole::staticText },
        { QStringLiteral("panel"), AXRole::group },
        { QStringLiteral("filler"), AXRole::group },
        { QStringLiteral("section"), AXRole::group },
        { QStringLiteral("grouping"), AXRole::group },
        { QStringLiteral("form"), AXRole::group },
    };
    static const QString unknown = QStringLiteral("AXUnknown");
    if (roleName == u"text" || roleName == u"paragraph")
        return multiLine ? AXRole::textArea : AXRole::textField;
    const auto found = roles.find(roleName);
    return found == roles.end() ? unknown : found->second;
}

std::optional<Rect> rectOf(int x, int y, int width, int height)
{
    if (width <= 0 && height <= 0)
        return std::nullopt; // toolkits answer 0×0 where they have no geometry
    return Rect { double(x), double(y), double(width), double(height) };
}

std::optional<Rect> rectFromArguments(const QVariantList& arguments)
{
    if (arguments.size() < 4)
        return std::nullopt;
    return rectOf(arguments[0].toInt(), arguments[1].toInt(), arguments[2].toInt(), arguments[3].toInt());
}

std::optional<Rect> rectFromStructure(const QVariant& value)
{
    if (!value.canConvert<QDBusArgument>())
        return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    int x = 0, y = 0, width = 0, height = 0;
    argument.beginStructure();
    argument >> x >> y >> width >> height;
    argument.endStructure();
    return rectOf(x, y, width, height);
}

Rect united(const Rect& a, const Rect& b)
{
    const double left = std::min(a.x, b.x), top = std::min(a.y, b.y);
    const double right = std::max(a.x + a.width, b.x + b.width), bottom = std::max(a.y + a.height, b.y + b.height);
    return { left, top, right - left, bottom - top };
}

// GetMatches' rule, signature (aiia{ss}iaiiasib): here, every element in the focused state.
struct FocusedRule { };

QDBusArgument& operator<<(QDBusArgument& argument, const FocusedRule&)
{
    constexpr int matchAll = 1;
    argument.beginStructure();
    argument << QList<int> { 1 << State::focused, 0 } << matchAll;
    argument.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QString>());
    argument.endMap();
    argument << matchAll << QList<int> {} << matchAll << QStringList {} << matchAll << false;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, FocusedRule&)
{
    return argument; // only ever sent
}

} // namespace

} // namespace brindlet

Q_DECLARE_METATYPE(brindlet::FocusedRule)

namespace brindlet {

AtspiAccessibility::AtspiAccessibility(AtspiBus& bus)
    : bus_(bus)
{
    qDBusRegisterMetaType<FocusedRule>();
}

bool AtspiAccessibility::isProcessTrusted()
{
    return bus_.isReachable() && bus_.isEnabled();
}

bool AtspiAccessibility::isProcessTrustedWithPrompt()
{
    if (bus_.isReachable() && !bus_.isEnabled())
        bus_.enable();
    return isProcessTrusted();
}

AtspiAccessibility::Reply AtspiAccessibility::invoke(
    const AtspiObject& object, const QString& interface, const QString& method, const QVariantList& arguments)
{
    const QDBusMessage reply = bus_.call(object, interface, method, arguments);
    return { statusOf(reply), reply.arguments() };
}

AtspiAccessibility::Reply AtspiAccessibility::property(
    const AtspiObject& object, const QString& interface, const QString& name)
{
    const QDBusMessage reply = bus_.property(object, interface, name);
    return { statusOf(reply), reply.arguments() };
}

ElementHandle AtspiAccessibility::elementFor(const AtspiObject& object)
{
    return std::make_shared<AtspiElement>(object);
}

AtspiAccessibility::Remembered& AtspiAccessibility::remembered(const AtspiObject& object)
{
    if (!forgetScheduled_) {
        forgetScheduled_ = true;
        QMetaObject::invokeMethod(
            &turn_, [this] { forget(); }, Qt::QueuedConnection);
    }
    return remembered_[object.service + QLatin1Char(' ') + object.path.path()];
}

void AtspiAccessibility::forget()
{
    remembered_.clear();
    forgetScheduled_ = false;
}

ElementHandle AtspiAccessibility::applicationElement(std::int32_t processID)
{
    const auto service = bus_.applicationOf(processID);
    return service ? elementFor({ *service, QDBusObjectPath(rootPath) }) : nullptr;
}

std::optional<std::uint64_t> AtspiAccessibility::states(const AtspiObject& object)
{
    Remembered& memory = remembered(object);
    if (memory.states)
        return memory.states;
    const Reply reply = invoke(object, accessibleInterface, QStringLiteral("GetState"));
    if (reply.status != AXErrorCode::success)
        return std::nullopt;
    const auto words = qdbus_cast<QList<uint>>(reply.first());
    const std::uint64_t low = words.value(0), high = words.value(1);
    const std::uint64_t bits = low | (high << 32);
    if (has(bits, State::defunct))
        return std::nullopt;
    memory.states = bits;
    return bits;
}

OffsetUnit AtspiAccessibility::unitOf(const QString& service)
{
    if (const auto known = units_.constFind(service); known != units_.cend())
        return *known;
    const Reply name
        = property({ service, QDBusObjectPath(rootPath) }, applicationInterface, QStringLiteral("ToolkitName"));
    const OffsetUnit unit = offsetUnitOfToolkit(name.first().toString());
    if (name.status == AXErrorCode::success)
        units_.insert(service, unit); // bus names are never reused
    return unit;
}

AXResult AtspiAccessibility::copyAttributeValue(const ElementHandle& element, const QString& attribute)
{
    const AtspiObject* object = objectOf(element);
    if (!object)
        return failed(AXErrorCode::illegalArgument);
    if (attribute == AXAttribute::focusedUIElement)
        return focusedElement(*object);
    if (attribute == AXAttribute::focusedWindow)
        return activeWindow(*object);
    if (attribute == AXAttribute::children || attribute == AXAttribute::windows)
        return children(*object);
    if (attribute == AXAttribute::parent)
        return parent(*object);
    if (attribute == AXAttribute::role)
        return role(*object);
    if (attribute == AXAttribute::focused)
        return stateFlag(*object, State::focused);
    if (attribute == AXAttribute::title || attribute == AXAttribute::description
        || attribute == AXAttribute::identifier) {
        const QString name = attribute == AXAttribute::title ? QStringLiteral("Name")
            : attribute == AXAttribute::description          ? QStringLiteral("Description")
                                                             : QStringLiteral("AccessibleId");
        const Reply reply = property(*object, accessibleInterface, name);
        if (reply.status != AXErrorCode::success)
            return failed(reply.status);
        const QString text = reply.first().toString();
        return text.isEmpty() ? failed(AXErrorCode::noValue) : success(text);
    }
    if (attribute == AXAttribute::domIdentifier)
        return domIdentifier(*object);
    if (attribute == AXAttribute::value)
        return wholeText(*object);
    if (attribute == AXAttribute::numberOfCharacters) {
        const AXResult text = wholeText(*object);
        const auto value = text.as<QString>();
        return value ? success(double(value->size())) : text;
    }
    if (attribute == AXAttribute::selectedText)
        return selectedText(*object);
    if (attribute == AXAttribute::selectedTextRange)
        return selectedRange(*object);
    return failed(AXErrorCode::attributeUnsupported);
}

AXResult AtspiAccessibility::copyParameterizedAttributeValue(
    const ElementHandle& element, const QString& attribute, const AXValue& parameter)
{
    const AtspiObject* object = objectOf(element);
    const TextRange* range = std::get_if<TextRange>(&parameter);
    const bool known = attribute == AXParameterizedAttribute::stringForRange
        || attribute == AXParameterizedAttribute::boundsForRange;
    if (!known)
        return failed(AXErrorCode::attributeUnsupported);
    if (!object || !range || range->location < 0 || range->length < 0)
        return failed(AXErrorCode::illegalArgument);
    return attribute == AXParameterizedAttribute::stringForRange ? stringForRange(*object, *range)
                                                                 : boundsForRange(*object, *range);
}

std::pair<AXStatus, bool> AtspiAccessibility::isAttributeSettable(
    const ElementHandle& element, const QString& attribute)
{
    const AtspiObject* object = objectOf(element);
    if (!object)
        return { AXErrorCode::illegalArgument, false };
    const auto bits = states(*object);
    if (!bits)
        return { AXErrorCode::invalidUIElement, false };
    if (attribute == AXAttribute::focused)
        return { AXErrorCode::success, has(*bits, State::focusable) };
    if (attribute != AXAttribute::selectedText && attribute != AXAttribute::value)
        return { AXErrorCode::success, false };
    if (!has(*bits, State::editable))
        return { AXErrorCode::success, false };
    // An editable field whose text can be read back: written directly where the toolkit allows it
    // (Qt Quick's fields take edits without listing EditableText, Chromium's take none), else
    // through the paste fallback, and proven by the read-back either way.
    Remembered& memory = remembered(*object);
    if (!memory.listsText) {
        const Reply interfaces = invoke(*object, accessibleInterface, QStringLiteral("GetInterfaces"));
        if (interfaces.status != AXErrorCode::success)
            return { interfaces.status, false };
        memory.listsText = interfaces.first().toStringList().contains(textInterface);
    }
    return { AXErrorCode::success, *memory.listsText };
}

AXStatus AtspiAccessibility::setAttributeValue(
    const ElementHandle& element, const QString& attribute, const AXValue& value)
{
    const AtspiObject* object = objectOf(element);
    if (!object)
        return AXErrorCode::illegalArgument;
    forget(); // whatever is written, the answers before it are old
    if (attribute == AXAttribute::selectedText) {
        const QString* text = std::get_if<QString>(&value);
        return text ? replaceSelection(*object, *text) : AXErrorCode::illegalArgument;
    }
    if (attribute == AXAttribute::focused) {
        const bool* focus = std::get_if<bool>(&value);
        if (!focus || !*focus)
            return AXErrorCode::illegalArgument;
        // Focusing a GTK entry selects all its text: an element that has the focus keeps it as it is.
        const auto bits = states(*object);
        if (bits && has(*bits, State::focused))
            return AXErrorCode::success;
        const Reply reply = invoke(*object, componentInterface, QStringLiteral("GrabFocus"));
        if (reply.status != AXErrorCode::success)
            return reply.status;
        return reply.first().toBool() ? AXErrorCode::success : AXErrorCode::failure;
    }
    // Windows are raised by the window manager, through the workspace.
    return AXErrorCode::attributeUnsupported;
}

AXStatus AtspiAccessibility::performAction(const ElementHandle& element, const QString&)
{
    return objectOf(element) ? AXErrorCode::actionUnsupported : AXErrorCode::illegalArgument;
}

std::uint64_t AtspiAccessibility::hash(const ElementHandle& element)
{
    const AtspiObject* object = objectOf(element);
    return object ? qHash(object->service + QLatin1Char(' ') + object->path.path()) : 0;
}

AXResult AtspiAccessibility::focusedElement(const AtspiObject& application)
{
    // GTK answers in one round trip. Qt has no Collection, and says so with an error of its own
    // choosing: any failure is answered by a walk, which fails in turn if the application has gone.
    const Reply matches = invoke(application, collectionInterface, QStringLiteral("GetMatches"),
        { QVariant::fromValue(FocusedRule {}), uint(1), 1, true });
    if (matches.status == AXErrorCode::success) {
        const auto found = qdbus_cast<QList<AtspiObject>>(matches.first());
        return found.isEmpty() ? failed(AXErrorCode::noValue) : success(elementFor(found.constFirst()));
    }

    const AXResult window = activeWindow(application);
    const auto start = window.as<ElementHandle>();
    if (!start)
        return window;
    QList<AtspiObject> pending { *objectOf(*start) };
    for (int visited = 0; !pending.isEmpty() && visited < focusWalkLimit; ++visited) {
        const AtspiObject current = pending.takeFirst();
        const auto bits = states(current);
        if (!bits || (visited > 0 && !has(*bits, State::showing)))
            continue;
        if (has(*bits, State::focused))
            return success(elementFor(current));
        if (has(*bits, State::managesDescendants))
            continue; // lists and tables: thousands of cells, never the text field itself
        const Reply kids = invoke(current, accessibleInterface, QStringLiteral("GetChildren"));
        if (kids.status == AXErrorCode::success)
            pending.append(qdbus_cast<QList<AtspiObject>>(kids.first()));
    }
    return failed(AXErrorCode::noValue);
}

AXResult AtspiAccessibility::activeWindow(const AtspiObject& application)
{
    const Reply kids = invoke(application, accessibleInterface, QStringLiteral("GetChildren"));
    if (kids.status != AXErrorCode::success)
        return failed(kids.status);
    for (const AtspiObject& window : qdbus_cast<QList<AtspiObject>>(kids.first())) {
        const auto bits = states(window);
        if (bits && has(*bits, State::active))
            return success(elementFor(window));
    }
    return failed(AXErrorCode::noValue);
}

AXResult AtspiAccessibility::children(const AtspiObject& object)
{
    const Reply kids = invoke(object, accessibleInterface, QStringLiteral("GetChildren"));
    if (kids.status != AXErrorCode::success)
        return failed(kids.status);
    QList<ElementHandle> elements;
    for (const AtspiObject& child : qdbus_cast<QList<AtspiObject>>(kids.first()))
        elements.append(elementFor(child));
    return success(elements);
}

AXResult AtspiAccessibility::parent(const AtspiObject& object)
{
    const Reply reply = property(object, accessibleInterface, QStringLiteral("Parent"));
    if (reply.status != AXErrorCode::success)
        return failed(reply.status);
    const auto found = qdbus_cast<AtspiObject>(reply.first());
    if (found.path.path().isEmpty() || found.path.path() == nullPath)
        return failed(AXErrorCode::noValue);
    return success(elementFor(found));
}

AXResult AtspiAccessibility::role(const AtspiObject& object)
{
    const Reply name = invoke(object, accessibleInterface, QStringLiteral("GetRoleName"));
    if (name.status != AXErrorCode::success)
        return failed(name.status);
    const QString roleName = name.first().toString();
    bool multiLine = false;
    if (roleName == u"text" || roleName == u"paragraph") {
        const auto bits = states(object);
        multiLine = bits && has(*bits, State::multiLine);
    }
    return success(roleFor(roleName, multiLine));
}

AXResult AtspiAccessibility::stateFlag(const AtspiObject& object, int state)
{
    const auto bits = states(object);
    return bits ? success(has(*bits, state)) : failed(AXErrorCode::invalidUIElement);
}

AXResult AtspiAccessibility::domIdentifier(const AtspiObject& object)
{
    const Reply attributes = invoke(object, accessibleInterface, QStringLiteral("GetAttributes"));
    if (attributes.status != AXErrorCode::success)
        return failed(attributes.status);
    const auto map = qdbus_cast<QMap<QString, QString>>(attributes.first());
    const QString id = map.value(QStringLiteral("id"));
    return id.isEmpty() ? failed(AXErrorCode::noValue) : success(id);
}

AXResult AtspiAccessibility::wholeText(const AtspiObject& object)
{
    Remembered& memory = remembered(object);
    if (!memory.text) {
        const Reply text = invoke(object, textInterface, QStringLiteral("GetText"), { 0, -1 });
        if (text.status != AXErrorCode::success)
            return failed(text.status);
        memory.text = normalisedText(text.first().toString());
    }
    return success(*memory.text);
}

std::optional<AtspiAccessibility::ToolkitSelection> AtspiAccessibility::selection(
    const AtspiObject& object, AXStatus& status)
{
    Remembered& memory = remembered(object);
    if (!memory.selection)
        memory.selection = askSelection(object, status);
    else
        status = AXErrorCode::success;
    return memory.selection;
}

std::optional<AtspiAccessibility::ToolkitSelection> AtspiAccessibility::askSelection(
    const AtspiObject& object, AXStatus& status)
{
    const Reply caret = property(object, textInterface, QStringLiteral("CaretOffset"));
    const Reply count = invoke(object, textInterface, QStringLiteral("GetNSelections"));
    status = caret.status != AXErrorCode::success ? caret.status : count.status;
    if (status != AXErrorCode::success)
        return std::nullopt;
    const std::int64_t offset = caret.first().toInt();
    if (count.first().toInt() > 0) {
        const Reply first = invoke(object, textInterface, QStringLiteral("GetSelection"), { 0 });
        status = first.status;
        if (status != AXErrorCode::success || first.arguments.size() < 2)
            return std::nullopt;
        const std::int64_t a = first.arguments[0].toInt(), b = first.arguments[1].toInt();
        // The caret sits at one end of a selection. Chromium counts a selection's ends one short
        // for each emoji before them, while its caret is right: no answer beats a wrong one.
        if (offset >= 0 && offset != a && offset != b) {
            status = AXErrorCode::cannotComplete;
            return std::nullopt;
        }
        return ToolkitSelection { std::min(a, b), std::max(a, b) };
    }
    if (offset < 0) {
        status = AXErrorCode::noValue; // no caret: nothing is being edited here
        return std::nullopt;
    }
    return ToolkitSelection { offset, offset };
}

AXResult AtspiAccessibility::selectedText(const AtspiObject& object)
{
    AXStatus status = AXErrorCode::failure;
    const auto current = selection(object, status);
    if (!current)
        return failed(status);
    if (current->start == current->end)
        return success(QString());
    // The whole text, which capture reads anyway, serves the selection and its range alike.
    const AXResult whole = wholeText(object);
    const auto text = whole.as<QString>();
    if (!text)
        return whole;
    const OffsetUnit unit = unitOf(object.service);
    const std::int64_t start = toUtf16Offset(*text, current->start, unit);
    return success(text->mid(start, toUtf16Offset(*text, current->end, unit) - start));
}

AXResult AtspiAccessibility::selectedRange(const AtspiObject& object)
{
    AXStatus status = AXErrorCode::failure;
    const auto current = selection(object, status);
    if (!current)
        return failed(status);
    const OffsetUnit unit = unitOf(object.service);
    if (unit == OffsetUnit::utf16)
        return success(TextRange { current->start, current->end - current->start });
    // Code points become UTF-16 units by counting in the text.
    const AXResult whole = wholeText(object);
    const auto text = whole.as<QString>();
    if (!text)
        return whole;
    const std::int64_t start = toUtf16Offset(*text, current->start, unit);
    return success(TextRange { start, toUtf16Offset(*text, current->end, unit) - start });
}

AXResult AtspiAccessibility::stringForRange(const AtspiObject& object, TextRange range)
{
    const AXResult whole = wholeText(object);
    const auto text = whole.as<QString>();
    if (!text)
        return whole;
    if (range.location + range.length > text->size())
        return failed(AXErrorCode::illegalArgument);
    return success(text->mid(range.location, range.length));
}

AXResult AtspiAccessibility::boundsForRange(const AtspiObject& object, TextRange range)
{
    std::int64_t start = range.location, end = range.location + range.length;
    if (unitOf(object.service) == OffsetUnit::codePoints) {
        const auto text = wholeText(object).as<QString>();
        if (!text)
            return failed(AXErrorCode::invalidUIElement);
        start = fromUtf16Offset(*text, start, OffsetUnit::codePoints);
        end = fromUtf16Offset(*text, end, OffsetUnit::codePoints);
    }
    const Reply extents = invoke(object, textInterface, QStringLiteral("GetRangeExtents"),
        { int(start), int(std::max(end, start + 1)), screenCoordinates });
    if (extents.status == AXErrorCode::success) {
        if (const auto rect = rectFromArguments(extents.arguments))
            return success(*rect);
    }
    // Some toolkits answer ranges with nothing; the characters at either end may still have a place.
    std::optional<Rect> characters;
    for (const std::int64_t offset : { start, std::max(start, end - 1) }) {
        const Reply character
            = invoke(object, textInterface, QStringLiteral("GetCharacterExtents"), { int(offset), screenCoordinates });
        if (const auto rect
            = character.status == AXErrorCode::success ? rectFromArguments(character.arguments) : std::nullopt)
            characters = characters ? united(*characters, *rect) : *rect;
    }
    if (characters)
        return success(*characters);
    // Qt Quick's fields have no geometry for text at all: the field's own is the best there is.
    const Reply component = invoke(object, componentInterface, QStringLiteral("GetExtents"), { screenCoordinates });
    if (component.status != AXErrorCode::success)
        return failed(component.status);
    const auto rect = rectFromStructure(component.first());
    return rect ? success(*rect) : failed(AXErrorCode::noValue);
}

AXStatus AtspiAccessibility::replaceSelection(const AtspiObject& object, const QString& text)
{
    AXStatus status = AXErrorCode::failure;
    const auto current = selection(object, status);
    if (!current)
        return status;
    const OffsetUnit unit = unitOf(object.service);
    QString removed;
    if (current->end > current->start) {
        const Reply old
            = invoke(object, textInterface, QStringLiteral("GetText"), { int(current->start), int(current->end) });
        if (old.status != AXErrorCode::success)
            return old.status;
        removed = old.first().toString();
        const Reply deleted = invoke(
            object, editableTextInterface, QStringLiteral("DeleteText"), { int(current->start), int(current->end) });
        if (deleted.status != AXErrorCode::success || !deleted.first().toBool())
            return deleted.status == AXErrorCode::success ? AXErrorCode::failure : deleted.status;
    }
    const Reply inserted = invoke(object, editableTextInterface, QStringLiteral("InsertText"),
        { int(current->start), text, insertionLength(text, unit) });
    if (inserted.status == AXErrorCode::success && inserted.first().toBool())
        return AXErrorCode::success;
    // Never leave the selection deleted and nothing in its place.
    if (!removed.isEmpty())
        invoke(object, editableTextInterface, QStringLiteral("InsertText"),
            { int(current->start), removed, insertionLength(removed, unit) });
    return inserted.status == AXErrorCode::success ? AXErrorCode::failure : inserted.status;
}

} // namespace brindlet
