#pragma once

#include "domain/AccessibilityElement.h"
#include "domain/SelectionSnapshot.h"

#include <QList>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <variant>

namespace brindlet {

// Status codes of the accessibility service; 0 is success.
using AXStatus = std::int32_t;
namespace AXErrorCode {
inline constexpr AXStatus success = 0;
inline constexpr AXStatus failure = -25200;
inline constexpr AXStatus illegalArgument = -25201;
inline constexpr AXStatus invalidUIElement = -25202;
inline constexpr AXStatus cannotComplete = -25204;
inline constexpr AXStatus attributeUnsupported = -25205;
inline constexpr AXStatus actionUnsupported = -25206;
inline constexpr AXStatus noValue = -25212;
} // namespace AXErrorCode

// An opaque text-marker range: only handed back to the parameterised reads that take one.
class AXTextMarkerRange {
public:
    virtual ~AXTextMarkerRange() = default;
};
using TextMarkerRangeHandle = std::shared_ptr<const AXTextMarkerRange>;

// A value read from or written to an element. Which alternative came back is the value's kind:
// a range (value type 4), a rectangle (value type 3), an element, an array of elements, a
// text-marker range, a string, a Boolean or a number.
using AXValue
    = std::variant<QString, bool, double, TextRange, Rect, ElementHandle, QList<ElementHandle>, TextMarkerRangeHandle>;

struct AXResult {
    AXStatus status = AXErrorCode::failure;
    std::optional<AXValue> value; // absent is a null value

    // The value when the read succeeded and it is of kind T; anything else is a failed read.
    template <class T> std::optional<T> as() const
    {
        if (status != AXErrorCode::success || !value)
            return std::nullopt;
        if (const T* typed = std::get_if<T>(&*value)) {
            if constexpr (std::is_same_v<T, ElementHandle> || std::is_same_v<T, TextMarkerRangeHandle>) {
                if (!*typed)
                    return std::nullopt;
            }
            return *typed;
        }
        return std::nullopt;
    }
};

// The platform's accessibility service: reading and writing other applications' elements.
// Every call is a synchronous message to the other process.
class AccessibilityServing {
public:
    virtual ~AccessibilityServing() = default;
    // Whether this process may use the service.
    virtual bool isProcessTrusted() = 0;
    // Asks the system to show its permission prompt, then answers like isProcessTrusted.
    virtual bool isProcessTrustedWithPrompt() = 0;
    virtual ElementHandle applicationElement(std::int32_t processID) = 0;
    virtual AXResult copyAttributeValue(const ElementHandle& element, const QString& attribute) = 0;
    virtual AXResult copyParameterizedAttributeValue(
        const ElementHandle& element, const QString& attribute, const AXValue& parameter)
        = 0;
    // Status and whether the attribute can be set.
    virtual std::pair<AXStatus, bool> isAttributeSettable(const ElementHandle& element, const QString& attribute) = 0;
    virtual AXStatus setAttributeValue(const ElementHandle& element, const QString& attribute, const AXValue& value)
        = 0;
    virtual AXStatus performAction(const ElementHandle& element, const QString& action) = 0;
    // A stable identity of the element behind a handle.
    virtual std::uint64_t hash(const ElementHandle& element) = 0;
};

} // namespace brindlet
