#pragma once

// Text offsets as toolkits count them. AT-SPI speaks of "characters": GTK and Chromium count
// code points, Qt counts UTF-16 units. The rest of the program counts UTF-16 units, so every
// offset is converted here, at the seam. InsertText's length differs as well: GTK reads it as
// UTF-8 bytes, Qt resizes the string to that many UTF-16 units.

#include <QString>

#include <cstdint>

namespace brindlet {

enum class OffsetUnit { codePoints, utf16 };

// The unit of the toolkit named by AT-SPI's Application.ToolkitName.
OffsetUnit offsetUnitOfToolkit(const QString& toolkitName);

// The UTF-16 offset of a toolkit offset into text; offsets past the end clamp to it.
std::int64_t toUtf16Offset(const QString& text, std::int64_t toolkitOffset, OffsetUnit unit);
// The toolkit offset of a UTF-16 offset; one inside a surrogate pair counts from the pair's start.
std::int64_t fromUtf16Offset(const QString& text, std::int64_t utf16Offset, OffsetUnit unit);
// The length InsertText expects for text.
std::int32_t insertionLength(const QString& text, OffsetUnit unit);
// Text as read from a toolkit, with paragraph separators (Qt Quick's line breaks) as line feeds.
QString normalisedText(QString text);

} // namespace brindlet
