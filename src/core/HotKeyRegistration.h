#pragma once

// The program's global shortcuts as registered with the desktop, and the messages the settings
// show for them: registration failures, assignments refused as duplicates, and shortcuts a
// stored set held twice.

#include "shortcuts/GlobalHotKeyManaging.h"
#include "shortcuts/HotKeyShortcut.h"

#include <QString>

#include <functional>
#include <map>
#include <optional>

namespace brindlet {

class SettingsStore;

using HotKeyMessages = std::map<GlobalHotKeyAction, QString>;

class HotKeyRegistration {
public:
    HotKeyRegistration(SettingsStore& settings, GlobalHotKeyManaging& manager);

    // Called with the merged messages whenever they are published.
    std::function<void(const HotKeyMessages&)> onMessagesChanged;

    // Registers the stored set; does nothing while a shortcut is being recorded.
    void reregister();
    // Stores a shortcut for an action, or clears it; a shortcut another action holds is refused
    // with a message and nothing is stored. A new shortcut that another program holds is shown
    // as unavailable, and the one it was to replace stays stored and in force.
    void setShortcut(const std::optional<HotKeyShortcut>& shortcut, GlobalHotKeyAction action);
    // While recording, registration is off; ending a recording registers again.
    void setRecording(bool recording);
    bool isRecording() const { return recording_; }

    // Failures, overlaid with duplicates, overlaid with refused assignments.
    HotKeyMessages messages() const;

private:
    void publish();
    void registerStored();

    SettingsStore& settings_;
    GlobalHotKeyManaging& manager_;
    bool recording_ = false;
    HotKeyMessages serviceMessages_; // replaced at every registration
    HotKeyMessages duplicateMessages_; // replaced at every registration
    HotKeyMessages validationMessages_; // kept until the action is set again
    // What each action held before it was set, until the new value has been registered.
    std::map<GlobalHotKeyAction, std::optional<HotKeyShortcut>> replaced_;
};

} // namespace brindlet
