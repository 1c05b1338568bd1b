#pragma once

#include "Enums.h"

#include <QString>

namespace brindlet {

// The analytics word: "selection_bubble", "global_hotkey", "menu_bar", "workspace_toolbar".
QString analyticsWord(QuickHUDTrigger trigger);

} // namespace brindlet
