#pragma once

#include "AccessibilityElement.h"

#include <QString>
#include <QUuid>

#include <cstdint>
#include <memory>
#include <optional>

namespace brindlet {

// Location and length in UTF-16 units.
struct TextRange {
    std::int64_t location = 0;
    std::int64_t length = 0;
    friend bool operator==(const TextRange&, const TextRange&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend bool operator==(const Rect&, const Rect&) = default;
};

// Immutable once built; shared by every copy of the snapshot that carries it.
struct SelectionTarget {
    ElementHandle element;
    ElementHandle focusedElement;
    ElementHandle sourceWindow;
    std::int32_t processID = 0;
    QString originalText;
    std::optional<QString> originalValue;
    std::optional<TextRange> originalRange;
    bool hadSelection = false;
    bool isSettable = false;
};

struct SelectionSnapshot {
    QUuid id;
    std::optional<QString> text; // absent for a bare cursor, never empty
    QString appName;
    std::optional<Rect> bounds; // accessibility space: origin top left of the primary display
    std::shared_ptr<const SelectionTarget> target;

    bool hasText() const { return text && !text->isEmpty(); }
    // Snapshots are told apart by identity: a fresh capture always gets a fresh id.
    friend bool operator==(const SelectionSnapshot& a, const SelectionSnapshot& b) { return a.id == b.id; }
};

} // namespace brindlet
