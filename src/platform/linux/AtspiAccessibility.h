#pragma once

// Other applications' elements over AT-SPI. The program speaks the accessibility vocabulary of
// AccessibilityVocabulary.h; this class translates each attribute it uses into AT-SPI calls,
// AT-SPI's role names into that vocabulary's roles, and D-Bus failures into its status codes.
// Offsets cross this seam in UTF-16 units whatever the toolkit counts in. Text markers have no
// AT-SPI counterpart and are answered "attribute unsupported".
//
// A capture asks for an element's text, selection and states several times in a row. Within one
// turn of the event loop those answers are remembered; the next turn, or any write, forgets them.

#include "AtspiBus.h"
#include "ToolkitText.h"
#include "platform/AccessibilityServing.h"

#include <QHash>
#include <QObject>

namespace brindlet {

class AtspiAccessibility final : public AccessibilityServing {
public:
    explicit AtspiAccessibility(AtspiBus& bus);

    // Trusted means the accessibility bus is reachable and switched on; the prompt switches it on.
    bool isProcessTrusted() override;
    bool isProcessTrustedWithPrompt() override;
    ElementHandle applicationElement(std::int32_t processID) override;
    AXResult copyAttributeValue(const ElementHandle& element, const QString& attribute) override;
    AXResult copyParameterizedAttributeValue(
        const ElementHandle& element, const QString& attribute, const AXValue& parameter) override;
    std::pair<AXStatus, bool> isAttributeSettable(const ElementHandle& element, const QString& attribute) override;
    AXStatus setAttributeValue(const ElementHandle& element, const QString& attribute, const AXValue& value) override;
    AXStatus performAction(const ElementHandle& element, const QString& action) override;
    std::uint64_t hash(const ElementHandle& element) override;

private:
    struct Reply {
        AXStatus status = AXErrorCode::failure;
        QVariantList arguments;
        QVariant first() const { return arguments.value(0); }
    };
    // The current selection, or the caret as an empty one, in the toolkit's offsets.
    struct ToolkitSelection {
        std::int64_t start = 0;
        std::int64_t end = 0;
    };

    Reply invoke(
        const AtspiObject& object, const QString& interface, const QString& method, const QVariantList& arguments = {});
    Reply property(const AtspiObject& object, const QString& interface, const QString& name);
    ElementHandle elementFor(const AtspiObject& object);
    std::optional<std::uint64_t> states(const AtspiObject& object);
    OffsetUnit unitOf(const QString& service);

    AXResult focusedElement(const AtspiObject& application);
    AXResult activeWindow(const AtspiObject& application);
    AXResult children(const AtspiObject& object);
    AXResult parent(const AtspiObject& object);
    AXResult role(const AtspiObject& object);
    AXResult stateFlag(const AtspiObject& object, int state);
    AXResult domIdentifier(const AtspiObject& object);
    AXResult wholeText(const AtspiObject& object);
    AXResult selectedText(const AtspiObject& object);
    AXResult selectedRange(const AtspiObject& object);
    AXResult stringForRange(const AtspiObject& object, TextRange range);
    AXResult boundsForRange(const AtspiObject& object, TextRange range);
    std::optional<ToolkitSelection> selection(const AtspiObject& object, AXStatus& status);
    std::optional<ToolkitSelection> askSelection(const AtspiObject& object, AXStatus& status);
    AXStatus replaceSelection(const AtspiObject& object, const QString& text);

    // What one element answered during this turn of the event loop.
    struct Remembered {
        std::optional<std::uint64_t> states;
        std::optional<QString> text;
        std::optional<ToolkitSelection> selection;
        std::optional<bool> listsText;
    };
    Remembered& remembered(const AtspiObject& object);
    void forget();

    AtspiBus& bus_;
    QHash<QString, OffsetUnit> units_;
    QHash<QString, Remembered> remembered_;
    QObject turn_; // the context of the queued call that forgets at the next turn
    bool forgetScheduled_ = false;
};

} // namespace brindlet
