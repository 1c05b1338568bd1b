#include "VisibleText.h"

#include <QList>

namespace brindlet {

bool hasVisibleCharacters(const QString& text)
{
    for (const char32_t scalar : text.toUcs4()) {
        if (scalar == 0xFFFC)
            continue;
        switch (QChar::category(scalar)) {
        case QChar::Letter_Uppercase:
        case QChar::Letter_Lowercase:
        case QChar::Letter_Titlecase:
        case QChar::Letter_Modifier:
        case QChar::Letter_Other:
        case QChar::Number_DecimalDigit:
        case QChar::Number_Letter:
        case QChar::Number_Other:
        case QChar::Punctuation_Connector:
        case QChar::Punctuation_Dash:
        case QChar::Punctuation_Open:
        case QChar::Punctuation_Close:
        case QChar::Punctuation_InitialQuote:
        case QChar::Punctuation_FinalQuote:
        case QChar::Punctuation_Other:
        case QChar::Symbol_Math:
        case QChar::Symbol_Currency:
        case QChar::Symbol_Modifier:
        case QChar::Symbol_Other: return true;
        default: break;
        }
    }
    return false;
}

} // namespace brindlet
