#include "Keyboard.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <vector>

namespace brindlet::test {

namespace {
void send(const std::vector<std::pair<KeySym, bool>>& events)
{
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return;
    for (const auto& [symbol, down] : events)
        XTestFakeKeyEvent(display, XKeysymToKeycode(display, symbol), down ? True : False, CurrentTime);
    XSync(display, False);
    XCloseDisplay(display);
}
} // namespace

void pressChord(std::initializer_list<unsigned long> keySymbols)
{
    std::vector<std::pair<KeySym, bool>> events;
    for (const unsigned long symbol : keySymbols)
        events.push_back({ symbol, true });
    for (auto symbol = std::rbegin(keySymbols); symbol != std::rend(keySymbols); ++symbol)
        events.push_back({ *symbol, false });
    send(events);
}

void typeText(const QString& text)
{
    std::vector<std::pair<KeySym, bool>> events;
    for (const QChar character : text) {
        const bool shifted = character.isUpper();
        const KeySym symbol = character == u' ' ? XK_space : KeySym(character.toLower().unicode());
        if (shifted)
            events.push_back({ XK_Shift_L, true });
        events.push_back({ symbol, true });
        events.push_back({ symbol, false });
        if (shifted)
            events.push_back({ XK_Shift_L, false });
    }
    send(events);
}

void clickAt(int x, int y, unsigned int button)
{
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return;
    XTestFakeMotionEvent(display, -1, x, y, CurrentTime);
    if (button != 0) {
        XTestFakeButtonEvent(display, button, True, CurrentTime);
        XTestFakeButtonEvent(display, button, False, CurrentTime);
    }
    XSync(display, False);
    XCloseDisplay(display);
}

} // namespace brindlet::test
