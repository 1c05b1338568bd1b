#include "HotKeyShortcut.h"

#include "domain/JsonWriter.h"

#include <QHashFunctions>

#include <cmath>

namespace brindlet {

QString displayName(GlobalHotKeyAction action)
{
    switch (action) {
    case GlobalHotKeyAction::quickCommand: return QStringLiteral("Quick Command");
    case GlobalHotKeyAction::openWorkspace: return QStringLiteral("Open Brindlet");
    case GlobalHotKeyAction::quickFix: return QStringLiteral("Quick Fix");
    }
    return {};
}

QString HotKeyShortcut::displayText() const
{
    QString text;
    if (modifiers.contains(HotKeyModifiers::control))
        text += QChar(0x2303);
    if (modifiers.contains(HotKeyModifiers::option))
        text += QChar(0x2325);
    if (modifiers.contains(HotKeyModifiers::shift))
        text += QChar(0x21E7);
    if (modifiers.contains(HotKeyModifiers::command))
        text += QChar(0x2318);
    return text + keyLabel;
}

namespace {

// Names of keys that make no useful character, by macOS virtual key code.
QString namedKeyLabel(std::uint16_t keyCode)
{
    switch (keyCode) {
    case 36:
    case 76: return QStringLiteral("Return");
    case 48: return QStringLiteral("Tab");
    case 49: return QStringLiteral("Space");
    case 51: return QStringLiteral("Delete");
    case 53: return QStringLiteral("Esc");
    case 96: return QStringLiteral("F5");
    case 97: return QStringLiteral("F6");
    case 98: return QStringLiteral("F7");
    case 99: return QStringLiteral("F3");
    case 100: return QStringLiteral("F8");
    case 101: return QStringLiteral("F9");
    case 103: return QStringLiteral("F11");
    case 109: return QStringLiteral("F10");
    case 111: return QStringLiteral("F12");
    case 115: return QStringLiteral("Home");
    case 116: return QStringLiteral("Page Up");
    case 117: return QStringLiteral("\u2326");
    case 118: return QStringLiteral("F4");
    case 119: return QStringLiteral("End");
    case 120: return QStringLiteral("F2");
    case 121: return QStringLiteral("Page Down");
    case 122: return QStringLiteral("F1");
    case 123: return QStringLiteral("\u2190");
    case 124: return QStringLiteral("\u2192");
    case 125: return QStringLiteral("\u2193");
    case 126: return QStringLiteral("\u2191");
    default: return {};
    }
}

std::optional<std::uint32_t> unsignedWord(const QJsonValue& value)
{
    if (!value.isDouble())
        return std::nullopt;
    const double d = value.toDouble();
    if (d < 0 || d > 4294967295.0 || std::trunc(d) != d)
        return std::nullopt;
    return static_cast<std::uint32_t>(d);
}

} // namespace

std::optional<HotKeyShortcut> HotKeyShortcut::fromKeyEvent(const KeyEvent& event)
{
    HotKeyModifiers modifiers;
    if (event.modifierFlags & KeyEvent::controlFlag)
        modifiers.rawValue |= HotKeyModifiers::control;
    if (event.modifierFlags & KeyEvent::optionFlag)
        modifiers.rawValue |= HotKeyModifiers::option;
    if (event.modifierFlags & KeyEvent::shiftFlag)
        modifiers.rawValue |= HotKeyModifiers::shift;
    if (event.modifierFlags & KeyEvent::commandFlag)
        modifiers.rawValue |= HotKeyModifiers::command;
    if ((modifiers.rawValue & ~HotKeyModifiers::shift) == 0)
        return std::nullopt;

    QString label = namedKeyLabel(event.keyCode);
    if (label.isEmpty() && event.charactersIgnoringModifiers)
        label = event.charactersIgnoringModifiers->trimmed().toUpper();
    if (label.isEmpty())
        return std::nullopt;
    return HotKeyShortcut { event.keyCode, modifiers, label };
}

QByteArray HotKeyShortcut::toJson() const
{
    JsonWriter writer;
    writer.beginObject();
    writer.key("keyCode").integer(keyCode);
    writer.key("modifiers").integer(modifiers.rawValue);
    writer.key("keyLabel").string(keyLabel);
    writer.endObject();
    return writer.take();
}

std::optional<HotKeyShortcut> HotKeyShortcut::fromJsonObject(const QJsonObject& object)
{
    const auto keyCode = unsignedWord(object.value(QStringLiteral("keyCode")));
    const auto modifiers = unsignedWord(object.value(QStringLiteral("modifiers")));
    const QJsonValue label = object.value(QStringLiteral("keyLabel"));
    if (!keyCode || !modifiers || !label.isString())
        return std::nullopt;
    return HotKeyShortcut { *keyCode, { *modifiers }, label.toString() };
}

size_t qHash(const HotKeyShortcut& shortcut, size_t seed)
{
    return qHashMulti(seed, shortcut.keyCode, shortcut.modifiers.rawValue, shortcut.keyLabel);
}

} // namespace brindlet
