#pragma once

#include <QString>

namespace brindlet {

// Whether a text counts as a selection: it needs a letter, number, punctuation mark or symbol;
// blanks, marks and U+FFFC (an attachment's stand-in) alone do not.
bool hasVisibleCharacters(const QString& text);

} // namespace brindlet
