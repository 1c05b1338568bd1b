#pragma once

#include "HotKeyShortcut.h"

#include <cstdint>
#include <functional>
#include <map>

namespace brindlet {

struct GlobalHotKeyRegistrationError {
    enum class Failure { eventHandler, shortcut };
    HotKeyShortcut shortcut;
    Failure failure = Failure::shortcut;
    std::int32_t status = 0;

    QString description() const;
};

// The system-wide hot-key service. Presses arrive on the main thread through onPressed.
class GlobalHotKeyManaging {
public:
    virtual ~GlobalHotKeyManaging() = default;
    virtual void setOnPressed(std::function<void(GlobalHotKeyAction)> callback) = 0;
    // Replaces every registration; returns only the failures.
    virtual std::map<GlobalHotKeyAction, GlobalHotKeyRegistrationError> registerShortcuts(
        const HotKeyShortcuts& shortcuts)
        = 0;
    virtual void unregisterAll() = 0;
};

} // namespace brindlet
