#include "ToolkitText.h"

namespace brindlet {

OffsetUnit offsetUnitOfToolkit(const QString& toolkitName)
{
    return toolkitName.compare(u"Qt", Qt::CaseInsensitive) == 0 ? OffsetUnit::utf16 : OffsetUnit::codePoints;
}

std::int64_t toUtf16Offset(const QString& text, std::int64_t toolkitOffset, OffsetUnit unit)
{
    const std::int64_t size = text.size();
    if (unit == OffsetUnit::utf16 || toolkitOffset <= 0)
        return std::clamp<std::int64_t>(toolkitOffset, 0, size);
    std::int64_t index = 0;
    for (std::int64_t counted = 0; counted < toolkitOffset && index < size; ++counted)
        index += (text.at(index).isHighSurrogate() && index + 1 < size && text.at(index + 1).isLowSurrogate()) ? 2 : 1;
    return index;
}

std::int64_t fromUtf16Offset(const QString& text, std::int64_t utf16Offset, OffsetUnit unit)
{
    const std::int64_t end = std::clamp<std::int64_t>(utf16Offset, 0, text.size());
    if (unit == OffsetUnit::utf16)
        return end;
    std::int64_t counted = 0;
    for (std::int64_t index = 0; index < end; ++counted) {
        const bool pair
            = text.at(index).isHighSurrogate() && index + 1 < text.size() && text.at(index + 1).isLowSurrogate();
        if (pair && index + 1 == end)
            break; // inside the pair: the character starts here
        index += pair ? 2 : 1;
    }
    return counted;
}

std::int32_t insertionLength(const QString& text, OffsetUnit unit)
{
    return unit == OffsetUnit::utf16 ? std::int32_t(text.size()) : std::int32_t(text.toUtf8().size());
}

QString normalisedText(QString text)
{
    return text.replace(QChar(0x2029), QLatin1Char('\n'));
}

} // namespace brindlet
