#include "HotKeyShortcut.h"

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

} // namespace brindlet
