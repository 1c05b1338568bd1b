#include "TerminationGate.h"

#include "settings/SettingsStore.h"
#include "tasks/Runtime.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>

namespace brindlet {

TerminationGate::TerminationGate(const SettingsStore& settings, std::function<void()> putAway, QObject* parent)
    : QObject(parent)
    , settings_(settings)
    , putAway_(std::move(putAway))
{
}

bool TerminationGate::shouldTerminate()
{
    const ApplicationTerminationReason reason = std::exchange(pending_, ApplicationTerminationReason::ordinary);
    if (reason != ApplicationTerminationReason::ordinary || !settings_.keepRunningAfterDockQuit())
        return true;
    QPointer<TerminationGate> weak(this);
    postToMainThread([weak] {
        if (weak)
            weak->putAway_();
    });
    return false;
}

void TerminationGate::quit(ApplicationTerminationReason reason)
{
    setPendingReason(reason);
    QCoreApplication::quit();
}

bool TerminationGate::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == QCoreApplication::instance() && event->type() == QEvent::Quit && !shouldTerminate()) {
        event->ignore();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace brindlet
