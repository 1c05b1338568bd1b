#pragma once

// The application's side of updates: reads the update configuration from the build's
// information, decides whether the updater runs at all, and lets the application finish its
// work before an update's relaunch, so that the relaunch is told apart from an ordinary quit.

#include "Updater.h"
#include "tasks/Task.h"

#include <QObject>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

namespace brindlet {

struct AppUpdateConfiguration {
    std::optional<QUrl> feedURL; // "SUFeedURL", trimmed
    std::optional<QString> publicEDKey; // "SUPublicEDKey", trimmed

    static AppUpdateConfiguration read(const QVariantMap& information);
    // An https feed and a key that is neither blank nor an unexpanded build variable.
    bool isConfigured() const;
};

enum class UpdaterStart { start, doNotStart, decide };

class AppUpdateController : public QObject, public UpdaterDelegate {
    Q_OBJECT
    Q_PROPERTY(bool isConfigured READ isConfigured CONSTANT)
    Q_PROPERTY(Updater* updater READ updater CONSTANT)
    Q_PROPERTY(QString currentVersion READ currentVersion CONSTANT)
    Q_PROPERTY(QString currentBuild READ currentBuild CONSTANT)

public:
    // With decide, the updater starts when the configuration holds and the process is no test
    // host. The installation and extra authorities are for tests; a real run passes its own.
    AppUpdateController(const QVariantMap& information, UpdaterStart start, Installation installation,
        DefaultsStoring& defaults, QList<QSslCertificate> extraCertificateAuthorities = {}, QObject* parent = nullptr);
    ~AppUpdateController() override;

    bool isConfigured() const { return configuration_.isConfigured(); }
    // Absent when updates do not run in this build.
    Updater* updater() const { return updater_.get(); }
    const QString& currentVersion() const { return currentVersion_; }
    const QString& currentBuild() const { return currentBuild_; }
    const AppUpdateConfiguration& configuration() const { return configuration_; }

    // A user's check; false when there is no updater to ask.
    Q_INVOKABLE bool checkForUpdates();

    // Set once by the application; any may stay unset.
    std::function<Task<void>()> prepareForInstallAndRelaunch;
    std::function<void()> authorizeInstallAndRelaunch;
    std::function<void()> requestInstallAndRelaunchTermination;

    // The delegate's decisions, public for the tests of their order.
    bool shouldPostponeRelaunch(std::function<void()> continuation) override;
    void willInstallUpdate() override;
    bool shouldRelaunchApplication() override;

private:
    static Task<void> relaunchAfterPreparing(QPointer<AppUpdateController> self, std::function<void()> continuation);
    void authorize();

    AppUpdateConfiguration configuration_;
    QString currentVersion_;
    QString currentBuild_;
    std::unique_ptr<Updater> updater_;
};

} // namespace brindlet
