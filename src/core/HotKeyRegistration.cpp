#include "HotKeyRegistration.h"

#include "settings/SettingsStore.h"

#include <algorithm>

namespace brindlet {

namespace {

QString alreadyAssigned(const HotKeyShortcut& shortcut, GlobalHotKeyAction holder)
{
    return shortcut.displayText() + QStringLiteral(" is already assigned to ") + displayName(holder)
        + QStringLiteral(".");
}

} // namespace

HotKeyRegistration::HotKeyRegistration(SettingsStore& settings, GlobalHotKeyManaging& manager)
    : settings_(settings)
    , manager_(manager)
{
}

HotKeyMessages HotKeyRegistration::messages() const
{
    HotKeyMessages merged = serviceMessages_;
    for (const auto* overlay : { &duplicateMessages_, &validationMessages_ }) {
        for (const auto& [action, message] : *overlay)
            merged[action] = message;
    }
    return merged;
}

void HotKeyRegistration::publish()
{
    if (onMessagesChanged)
        onMessagesChanged(messages());
}

void HotKeyRegistration::reregister()
{
    if (recording_)
        return;
    HotKeyShortcuts shortcuts;
    // A stored set may hold equal shortcuts (an older settings file): the first action in order
    // keeps it for this registration, and the message goes once the set no longer holds it twice.
    duplicateMessages_.clear();
    for (GlobalHotKeyAction action : allGlobalHotKeyActions) {
        const auto shortcut = settings_.shortcut(action);
        if (!shortcut)
            continue;
        const auto holder = std::find_if(
            shortcuts.begin(), shortcuts.end(), [&](const auto& entry) { return entry.second == *shortcut; });
        if (holder != shortcuts.end())
            duplicateMessages_[action] = alreadyAssigned(*shortcut, holder->first);
        else
            shortcuts[action] = *shortcut;
    }
    serviceMessages_.clear();
    for (const auto& [action, error] : manager_.registerShortcuts(shortcuts))
        serviceMessages_[action] = error.description();
    publish();
}

void HotKeyRegistration::setShortcut(const std::optional<HotKeyShortcut>& shortcut, GlobalHotKeyAction action)
{
    if (shortcut) {
        for (GlobalHotKeyAction other : allGlobalHotKeyActions) {
            if (other != action && settings_.shortcut(other) == shortcut) {
                validationMessages_[action] = alreadyAssigned(*shortcut, other);
                return publish();
            }
        }
    }
    validationMessages_.erase(action);
    settings_.setShortcut(action, shortcut);
    if (recording_)
        return publish();
    reregister();
}

void HotKeyRegistration::setRecording(bool recording)
{
    const bool ended = recording_ && !recording;
    recording_ = recording;
    if (ended)
        reregister();
}

} // namespace brindlet
