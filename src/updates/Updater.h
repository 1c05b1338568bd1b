#pragma once

// The updater: reads the signed feed over HTTPS, finds a newer release, and, once the user
// agrees, downloads the archive, verifies its Ed25519 signature against the build's public key
// and only then installs it and relaunches. An installation from the system's package manager is
// only told that a new version exists.

#include "Installation.h"
#include "UpdateFeed.h"
#include "tasks/Runtime.h"

#include <QObject>
#include <QPointer>
#include <QSslCertificate>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

namespace brindlet {

class DefaultsStoring;

// What the application decides around an installation.
class UpdaterDelegate {
public:
    virtual ~UpdaterDelegate() = default;
    // True when the application will call continuation itself, after its own preparation.
    virtual bool shouldPostponeRelaunch(std::function<void()> continuation) = 0;
    virtual void willInstallUpdate() = 0;
    virtual bool shouldRelaunchApplication() = 0;
};

class Updater : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY changed)
    Q_PROPERTY(bool automaticallyChecksForUpdates READ automaticallyChecksForUpdates WRITE
            setAutomaticallyChecksForUpdates NOTIFY changed)
    Q_PROPERTY(QString status READ status NOTIFY changed)
    Q_PROPERTY(bool canInstall READ canInstall NOTIFY changed)

public:
    struct Setup {
        QUrl feedURL;
        QByteArray publicKey; // base64 Ed25519
        QVersionNumber currentVersion;
        Installation installation;
        QList<QSslCertificate> extraCertificateAuthorities; // for a test's loopback feed
    };
    static constexpr qint64 archiveLimit = 512LL * 1024 * 1024;

    Updater(Setup setup, DefaultsStoring& defaults, UpdaterDelegate& delegate, QObject* parent = nullptr);
    ~Updater() override;

    bool canCheckForUpdates() const { return !busy_; }
    bool automaticallyChecksForUpdates() const;
    void setAutomaticallyChecksForUpdates(bool value);
    const QString& status() const { return status_; }
    // A newer release was found and this installation may take it.
    bool canInstall() const { return available_.has_value() && setup_.installation.userLocal && !busy_; }

    Q_INVOKABLE void checkForUpdates();
    Q_INVOKABLE void installUpdate();
    // For tests: the same steps, awaited.
    Task<void> check();
    Task<void> install();

    // The program to start in place of this one once it has quit, after an installed update.
    const std::optional<QString>& relaunchExecutable() const { return relaunch_; }

signals:
    void changed();
    void updateFound(const QString& version);

private:
    // The body of a 200 answer; any other ends in an UpdateError worded by failure ("%1": why).
    Task<QByteArray> fetch(const QUrl& url, qint64 limit, const QString& failure);
    void setStatus(QString status);
    void scheduleAutomaticChecks();
    static Task<void> checkPeriodically(QPointer<Updater> self);

    Setup setup_;
    DefaultsStoring& defaults_;
    UpdaterDelegate& delegate_;
    bool busy_ = false;
    QString status_;
    std::optional<UpdateRelease> available_;
    std::optional<QString> relaunch_;
    std::optional<TaskHandle> automaticChecks_;
    std::optional<TaskHandle> running_;
};

} // namespace brindlet
