#include "SessionTypes.h"

namespace brindlet {

QString analyticsWord(QuickHUDTrigger trigger)
{
    switch (trigger) {
    case QuickHUDTrigger::selectionBubble: return QStringLiteral("selection_bubble");
    case QuickHUDTrigger::globalHotKey: return QStringLiteral("global_hotkey");
    case QuickHUDTrigger::menuBar: return QStringLiteral("menu_bar");
    case QuickHUDTrigger::workspaceToolbar: return QStringLiteral("workspace_toolbar");
    }
    return {};
}

} // namespace brindlet
