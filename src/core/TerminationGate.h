#pragma once

// Whether a quit really quits. A quit the user means, one the session demands and one an update
// needs always go through; any other quit only puts the application away when the user keeps
// Brindlet running, so that its shortcuts go on working.

#include <QObject>

#include <functional>

namespace brindlet {

class SettingsStore;

enum class ApplicationTerminationReason { ordinary, explicitComplete, systemPowerOff, updaterRelaunch };

class TerminationGate : public QObject {
    Q_OBJECT

public:
    // `putAway` closes the windows of a quit that was turned into staying.
    TerminationGate(const SettingsStore& settings, std::function<void()> putAway, QObject* parent = nullptr);

    void setPendingReason(ApplicationTerminationReason reason) { pending_ = reason; }
    // Reads the pending reason and forgets it, so that a cancelled quit leaves none behind.
    bool shouldTerminate();
    // Sets the reason and asks the application to quit.
    void quit(ApplicationTerminationReason reason);

    // Installed on the application, it sees every quit request, including the platform's own.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    const SettingsStore& settings_;
    std::function<void()> putAway_;
    ApplicationTerminationReason pending_ = ApplicationTerminationReason::ordinary;
};

} // namespace brindlet
