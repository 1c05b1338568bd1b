#include "GlobalHotKeyManaging.h"

namespace brindlet {

QString GlobalHotKeyRegistrationError::description() const
{
    if (failure == Failure::eventHandler)
        return QStringLiteral("Brindlet could not start keyboard shortcut monitoring.");
    return shortcut.displayText()
        + QStringLiteral(
            " is unavailable. Choose another shortcut or change the conflicting shortcut in the other app.");
}

} // namespace brindlet
