#pragma once

// Real key presses on the private desktop, through XTest, as a person would type them.

#include <QString>

#include <initializer_list>

namespace brindlet::test {

// Presses the keys in order and releases them in reverse: a chord such as Control+Shift+J.
void pressChord(std::initializer_list<unsigned long> keySymbols);
// Types plain ASCII text key by key (capitals with Shift).
void typeText(const QString& text);

} // namespace brindlet::test
