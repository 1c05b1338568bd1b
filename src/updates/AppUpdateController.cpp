#include "AppUpdateController.h"

#include "tasks/Runtime.h"

#include <QPointer>

namespace brindlet {

namespace {

std::optional<QString> trimmedText(const QVariantMap& information, const char* key)
{
    const QVariant value = information.value(QLatin1String(key));
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    QString text = value.toString().trimmed();
    return text.isEmpty() ? std::nullopt : std::optional(std::move(text));
}

QString informationText(const QVariantMap& information, const char* key)
{
    return trimmedText(information, key).value_or(QStringLiteral("Unknown"));
}

bool isTestHost()
{
    return qEnvironmentVariableIsSet("XCTestConfigurationFilePath");
}

} // namespace

AppUpdateConfiguration AppUpdateConfiguration::read(const QVariantMap& information)
{
    AppUpdateConfiguration configuration;
    if (const auto feed = trimmedText(information, "SUFeedURL")) {
        const QUrl url(*feed, QUrl::StrictMode);
        if (url.isValid() && !url.scheme().isEmpty())
            configuration.feedURL = url;
    }
    configuration.publicEDKey = trimmedText(information, "SUPublicEDKey");
    return configuration;
}

bool AppUpdateConfiguration::isConfigured() const
{
    return feedURL && feedURL->scheme().toLower() == u"https" && publicEDKey && !publicEDKey->isEmpty()
        && !publicEDKey->contains(u"$(");
}

AppUpdateController::AppUpdateController(const QVariantMap& information, UpdaterStart start, Installation installation,
    DefaultsStoring& defaults, QList<QSslCertificate> extraCertificateAuthorities, QObject* parent)
    : QObject(parent)
    , configuration_(AppUpdateConfiguration::read(information))
    , currentVersion_(informationText(information, "CFBundleShortVersionString"))
    , currentBuild_(informationText(information, "CFBundleVersion"))
{
    const bool starts = start == UpdaterStart::start
        || (start == UpdaterStart::decide && configuration_.isConfigured() && !isTestHost());
    if (!starts)
        return;
    updater_ = std::make_unique<Updater>(
        Updater::Setup { configuration_.feedURL.value_or(QUrl()),
            configuration_.publicEDKey.value_or(QString()).toLatin1(), QVersionNumber::fromString(currentVersion_),
            std::move(installation), std::move(extraCertificateAuthorities) },
        defaults, static_cast<UpdaterDelegate&>(*this));
}

AppUpdateController::~AppUpdateController() = default;

bool AppUpdateController::checkForUpdates()
{
    if (!updater_)
        return false;
    updater_->checkForUpdates();
    return true;
}

void AppUpdateController::authorize()
{
    if (authorizeInstallAndRelaunch)
        authorizeInstallAndRelaunch();
}

bool AppUpdateController::shouldPostponeRelaunch(std::function<void()> continuation)
{
    if (!prepareForInstallAndRelaunch) {
        authorize();
        return false;
    }
    spawn(relaunchAfterPreparing(this, std::move(continuation)));
    return true;
}

Task<void> AppUpdateController::relaunchAfterPreparing(
    QPointer<AppUpdateController> self, std::function<void()> continuation)
{
    co_await self->prepareForInstallAndRelaunch();
    if (self)
        self->authorize();
    continuation();
    if (self && self->requestInstallAndRelaunchTermination)
        self->requestInstallAndRelaunchTermination();
}

void AppUpdateController::willInstallUpdate()
{
    authorize();
}

bool AppUpdateController::shouldRelaunchApplication()
{
    authorize();
    return true;
}

} // namespace brindlet
