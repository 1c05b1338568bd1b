#pragma once

// Real key presses and clicks on the private desktop, through XTest, as a person makes them.

#include <QString>

#include <initializer_list>

namespace brindlet::test {

// Presses the keys in order and releases them in reverse: a chord such as Control+Shift+J.
void pressChord(std::initializer_list<unsigned long> keySymbols);
// Types plain ASCII text key by key (capitals with Shift).
void typeText(const QString& text);
// Moves the pointer there and clicks a button: 1 is the left one, 3 the right, 0 none.
void clickAt(int x, int y, unsigned int button = 1);

} // namespace brindlet::test
