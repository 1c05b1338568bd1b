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
    registerStored();
    // A new shortcut that another program holds gives way to the one it was to replace, and the
    // message about it stays until the next registration.
    HotKeyMessages refused;
    for (const auto& [action, previous] : std::exchange(replaced_, {})) {
        const auto failure = serviceMessages_.find(action);
        if (failure != serviceMessages_.end() && settings_.shortcut(action) != previous) {
            refused[action] = failure->second;
            settings_.setShortcut(action, previous);
        }
    }
    if (!refused.empty()) {
        registerStored();
        for (const auto& [action, message] : refused)
            serviceMessages_[action] = message;
    }
    publish();
}

void HotKeyRegistration::registerStored()
{
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
    replaced_.try_emplace(action, settings_.shortcut(action));
    settings_.setShortcut(action, shortcut);
    if (recording_)
        return publish();
    reregister();
}

void HotKeyRegistration::setRecording(bool recording)
{
    if (recording == recording_)
        return;
    recording_ = recording;
    if (!recording)
        return reregister();
    // The keys being pressed must reach the recorder, not the old bindings; stale failures go.
    manager_.unregisterAll();
    serviceMessages_.clear();
    publish();
}

} // namespace brindlet
