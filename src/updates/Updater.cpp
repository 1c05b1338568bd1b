#include "Updater.h"

#include "UpdateError.h"
#include "UpdateSignature.h"
#include "net/HttpExchange.h"
#include "net/NetworkError.h"
#include "settings/DefaultsStoring.h"
#include "tasks/Cancellation.h"

#include <QCoreApplication>

namespace brindlet {

namespace {

const QString automaticChecksKey = QStringLiteral("SUEnableAutomaticChecks");
const QString lastCheckKey = QStringLiteral("SULastCheckTime");
constexpr qint64 feedLimit = 1024 * 1024;
constexpr std::chrono::hours checkInterval { 24 };

QString versionText(const QVersionNumber& version)
{
    return version.toString();
}

} // namespace

Updater::Updater(Setup setup, DefaultsStoring& defaults, UpdaterDelegate& delegate, QObject* parent)
    : QObject(parent)
    , setup_(std::move(setup))
    , defaults_(defaults)
    , delegate_(delegate)
{
    scheduleAutomaticChecks();
}

Updater::~Updater()
{
    for (const auto& task : { running_, automaticChecks_ }) {
        if (task)
            task->cancel();
    }
}

bool Updater::automaticallyChecksForUpdates() const
{
    return booleanValue(defaults_.objectForKey(automaticChecksKey)).value_or(true);
}

void Updater::setAutomaticallyChecksForUpdates(bool value)
{
    defaults_.setBool(value, automaticChecksKey);
    scheduleAutomaticChecks();
    emit changed();
}

void Updater::scheduleAutomaticChecks()
{
    if (automaticChecks_)
        automaticChecks_->cancel();
    automaticChecks_.reset();
    if (automaticallyChecksForUpdates())
        automaticChecks_ = spawn(checkPeriodically(this));
}

// Once a day, counted from the last check even across restarts; never in the first minute.
Task<void> Updater::checkPeriodically(QPointer<Updater> self)
{
    while (self) {
        const auto last = self->defaults_.stringForKey(lastCheckKey);
        const QDateTime lastCheck = QDateTime::fromString(last.value_or(QString()), Qt::ISODate);
        const qint64 dueIn = lastCheck.isValid()
            ? QDateTime::currentDateTimeUtc().secsTo(lastCheck.addSecs(std::chrono::seconds(checkInterval).count()))
            : 0;
        co_await sleepFor(std::max(std::chrono::seconds(dueIn), std::chrono::seconds(60)));
        if (!self)
            co_return;
        if (!self->busy_)
            co_await self->check();
    }
}

void Updater::setStatus(QString status)
{
    status_ = std::move(status);
    emit changed();
}

void Updater::checkForUpdates()
{
    if (!busy_)
        running_ = spawn(check());
}

void Updater::installUpdate()
{
    if (canInstall())
        running_ = spawn(install());
}

Task<QByteArray> Updater::fetch(const QUrl& url, qint64 limit, const QString& failure)
{
    HttpRequest request;
    request.url = url;
    request.transferTimeout = std::chrono::seconds(30);
    request.extraCertificateAuthorities = setup_.extraCertificateAuthorities;
    HttpExchange exchange(std::move(request));
    int status = 0;
    QByteArray body;
    try {
        status = co_await exchange.status();
        if (status == 200)
            body = co_await exchange.readAll();
    } catch (const NetworkError& error) {
        throw UpdateError(failure.arg(error.description()));
    }
    if (status != 200)
        throw UpdateError(failure.arg(QStringLiteral("the server answered with status %1").arg(status)));
    if (body.size() > limit)
        throw UpdateError(QStringLiteral("The update server sent more than was expected."));
    co_return body;
}

Task<void> Updater::check()
{
    busy_ = true;
    available_.reset();
    defaults_.setObject(DefaultsValue(QDateTime::currentDateTimeUtc().toString(Qt::ISODate)), lastCheckKey);
    setStatus(QStringLiteral("Checking for updates…"));
    QString outcome;
    try {
        if (setup_.feedURL.scheme().toLower() != u"https")
            throw UpdateError(QStringLiteral("The update feed must be read over HTTPS."));
        const QByteArray xml
            = co_await fetch(setup_.feedURL, feedLimit, QStringLiteral("The update feed could not be fetched: %1."));
        const auto feed = UpdateFeed::parse(xml);
        if (!feed)
            throw UpdateError(QStringLiteral("The update feed could not be read."));
        available_ = feed->newerThan(setup_.currentVersion);
        if (!available_)
            outcome = QStringLiteral("Brindlet %1 is the newest version.").arg(versionText(setup_.currentVersion));
        else if (setup_.installation.userLocal)
            outcome = QStringLiteral("Brindlet %1 is available.").arg(available_->displayVersion);
        else
            outcome = QStringLiteral("Brindlet %1 is available. Install it with your system’s package manager.")
                          .arg(available_->displayVersion);
    } catch (const CancellationError&) {
        busy_ = false;
        throw;
    } catch (...) {
        outcome = describe(std::current_exception());
    }
    busy_ = false;
    setStatus(outcome);
    if (available_)
        emit updateFound(available_->displayVersion);
}

Task<void> Updater::install()
{
    const UpdateRelease release = *available_;
    busy_ = true;
    setStatus(QStringLiteral("Downloading Brindlet %1…").arg(release.displayVersion));
    try {
        const QByteArray archive = co_await fetch(release.archiveURL, std::min(release.length, archiveLimit),
            QStringLiteral("The update could not be downloaded: %1. Nothing was installed."));
        if (archive.size() != release.length)
            throw UpdateError(QStringLiteral("The update download was incomplete. Nothing was installed."));
        if (!verifyEd25519(archive, release.signature, setup_.publicKey))
            throw UpdateError(QStringLiteral("The update’s signature did not verify. Nothing was installed."));
        delegate_.willInstallUpdate();
        installArchive(setup_.installation, archive);
    } catch (const CancellationError&) {
        busy_ = false;
        throw;
    } catch (...) {
        busy_ = false;
        setStatus(describe(std::current_exception()));
        co_return;
    }
    // Stays busy: nothing more is checked or installed before the relaunch.
    available_.reset();
    setStatus(QStringLiteral("Brindlet %1 is installed. Relaunching…").arg(release.displayVersion));
    const QPointer<Updater> self(this);
    auto relaunch = [self] {
        if (self && self->delegate_.shouldRelaunchApplication())
            self->relaunch_ = self->setup_.installation.executable();
    };
    if (!delegate_.shouldPostponeRelaunch(relaunch)) {
        relaunch();
        QCoreApplication::quit();
    }
}

} // namespace brindlet
