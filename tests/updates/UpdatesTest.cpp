#include "settings/InMemoryDefaultsStore.h"
#include "support/EventLoop.h"
#include "support/FakeHttpServer.h"
#include "support/Printers.h"
#include "tasks/Completion.h"
#include "updates/AppUpdateController.h"
#include "updates/UpdateSignature.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <openssl/evp.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

QVariantMap information(const QString& feed, const QString& key)
{
    return { { u"SUFeedURL"_qs, feed }, { u"SUPublicEDKey"_qs, key },
        { u"CFBundleShortVersionString"_qs, u"1.0.0"_qs } };
}

TEST(UpdateConfiguration, OnlyAnHttpsFeedWithARealKeyCounts)
{
    const struct {
        const char* feed;
        const char* key;
        bool configured;
    } cases[] = {
        { "https://updates.test/feed.xml", "a2V5", true },
        { "  HTTPS://updates.test/feed.xml\n", " a2V5 ", true },
        { "http://updates.test/feed.xml", "a2V5", false },
        { "https://updates.test/feed.xml", "   ", false },
        { "https://updates.test/feed.xml", "$(UPDATE_KEY)", false },
        { "", "a2V5", false },
        { "not a url at all", "a2V5", false },
    };
    for (const auto& testCase : cases)
        EXPECT_EQ(AppUpdateConfiguration::read(
                      information(QString::fromLatin1(testCase.feed), QString::fromLatin1(testCase.key)))
                      .isConfigured(),
            testCase.configured)
            << testCase.feed << " / " << testCase.key;
}

TEST(UpdateController, StartsOnlyWhenAskedOrConfiguredOutsideATestHost)
{
    InMemoryDefaultsStore defaults;
    const auto good = information(u"https://updates.test/feed.xml"_qs, u"a2V5"_qs);
    EXPECT_TRUE(AppUpdateController(good, UpdaterStart::decide, {}, defaults).updater());
    EXPECT_FALSE(AppUpdateController(good, UpdaterStart::doNotStart, {}, defaults).updater());
    EXPECT_FALSE(AppUpdateController({}, UpdaterStart::decide, {}, defaults).updater());
    EXPECT_TRUE(AppUpdateController({}, UpdaterStart::start, {}, defaults).updater());
    qputenv("XCTestConfigurationFilePath", "/tmp/x");
    EXPECT_FALSE(AppUpdateController(good, UpdaterStart::decide, {}, defaults).updater());
    qunsetenv("XCTestConfigurationFilePath");
    drainEvents(); // the started updaters' daily checks unwind
}

TEST(UpdateController, TheRelaunchWaitsForThePreparationAndIsAuthorisedBeforeItRuns)
{
    InMemoryDefaultsStore defaults;
    AppUpdateController controller({}, UpdaterStart::doNotStart, {}, defaults);
    QStringList steps;
    controller.authorizeInstallAndRelaunch = [&] { steps << u"authorize"_qs; };
    controller.requestInstallAndRelaunchTermination = [&] { steps << u"terminate"_qs; };
    EXPECT_FALSE(controller.shouldPostponeRelaunch([&] { steps << u"relaunch"_qs; }));
    EXPECT_EQ(steps, QStringList { u"authorize"_qs }) << "without a preparation nothing waits";

    steps.clear();
    Completion<bool> prepared;
    controller.prepareForInstallAndRelaunch = [&]() -> Task<void> {
        steps << u"prepare"_qs;
        return [](Completion<bool> done) -> Task<void> { co_await done.wait(); }(prepared);
    };
    EXPECT_TRUE(controller.shouldPostponeRelaunch([&] { steps << u"relaunch"_qs; }));
    drainEvents();
    EXPECT_EQ(steps, QStringList { u"prepare"_qs });
    prepared.resolve(true);
    ASSERT_TRUE(runUntil([&] { return steps.size() == 4; }));
    EXPECT_EQ(steps, (QStringList { u"prepare"_qs, u"authorize"_qs, u"relaunch"_qs, u"terminate"_qs }));
}

TEST(Installation, OnlyAMarkedWritableTreeInTheHomeFolderIsUserLocal)
{
    QTemporaryDir home;
    QDir(home.path()).mkpath(u"opt/brindlet/bin"_qs);
    QDir(home.path()).mkpath(u".local/bin"_qs);
    QFile(home.filePath(u"opt/brindlet/brindlet.installation"_qs)).open(QIODevice::WriteOnly);
    EXPECT_TRUE(Installation::of(home.filePath(u"opt/brindlet/bin/brindlet"_qs), home.path()).userLocal);
    EXPECT_FALSE(Installation::of(home.filePath(u".local/bin/brindlet"_qs), home.path()).userLocal)
        << "a shared prefix is never swapped away";
    EXPECT_FALSE(Installation::of(u"/usr/bin/brindlet"_qs, home.path()).userLocal);
    EXPECT_FALSE(
        Installation::of(home.filePath(u"opt/brindlet/bin/brindlet"_qs), home.filePath(u"elsewhere"_qs)).userLocal);
}

// An Ed25519 key pair made for one test, and signatures under it.
struct SigningKey {
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key { EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"),
        &EVP_PKEY_free };
    QByteArray publicKey() const
    {
        unsigned char raw[32];
        size_t length = sizeof raw;
        EVP_PKEY_get_raw_public_key(key.get(), raw, &length);
        return QByteArray(reinterpret_cast<const char*>(raw), qsizetype(length)).toBase64();
    }
    QByteArray sign(const QByteArray& data) const
    {
        unsigned char signature[64];
        size_t length = sizeof signature;
        EVP_MD_CTX* context = EVP_MD_CTX_new();
        EVP_DigestSignInit(context, nullptr, nullptr, nullptr, key.get());
        EVP_DigestSign(
            context, signature, &length, reinterpret_cast<const unsigned char*>(data.constData()), size_t(data.size()));
        EVP_MD_CTX_free(context);
        return QByteArray(reinterpret_cast<const char*>(signature), qsizetype(length)).toBase64();
    }
};

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A user-local installation in a temporary home, a release of it packed and signed, and a feed
// for it served over TLS on the loopback.
struct UpdateServer : ::testing::Test {
    QTemporaryDir home;
    QString root = home.filePath(u"opt/brindlet"_qs);
    FakeHttpServer server { true };
    SigningKey signer;
    QByteArray archive;
    InMemoryDefaultsStore defaults;

    void SetUp() override
    {
        writeTree(root, "#!/bin/sh\necho old\n");
        QTemporaryDir release;
        writeTree(release.path(), "#!/bin/sh\necho new\n");
        QProcess tar;
        tar.start(u"tar"_qs, { u"-cz"_qs, u"-C"_qs, release.path(), u"."_qs });
        ASSERT_TRUE(tar.waitForFinished());
        archive = tar.readAllStandardOutput();
    }
    static void writeTree(const QString& path, const QByteArray& program)
    {
        QDir(path).mkpath(u"bin"_qs);
        QFile(path + u"/brindlet.installation"_qs).open(QIODevice::WriteOnly);
        QFile file(path + u"/bin/brindlet"_qs);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(program);
        file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
    }
    QByteArray feed(const QByteArray& signature, qint64 length) const
    {
        return "<?xml version=\"1.0\"?><rss version=\"2.0\" "
               "xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel><item>"
               "<sparkle:shortVersionString>0.9.0</sparkle:shortVersionString><enclosure url=\"https://127.0.0.1:"
            + QByteArray::number(server.port())
            + "/old.tar.gz\" length=\"9\" sparkle:edSignature=\"c2ln\"/></item><item>"
              "<sparkle:shortVersionString>1.2.0</sparkle:shortVersionString><enclosure url=\"https://127.0.0.1:"
            + QByteArray::number(server.port()) + "/brindlet-1.2.0.tar.gz\" length=\"" + QByteArray::number(length)
            + "\" sparkle:edSignature=\"" + signature + "\"/></item></channel></rss>";
    }
    void serve(const QByteArray& feedXML, const QByteArray& served)
    {
        server.setHandler([=](const RecordedRequest& request) {
            return request.path == "/feed.xml" ? FakeResponse::json(200, feedXML) : FakeResponse::json(200, served);
        });
    }
};

TEST_F(UpdateServer, OnlyAVerifiedCompleteArchiveOverHttpsIsInstalledAndRelaunched)
{
    QByteArray tampered = archive;
    tampered[tampered.size() / 2] = char(tampered[tampered.size() / 2] ^ 0x20);
    const SigningKey stranger;
    const QString httpsFeed = server.baseURL() + u"/feed.xml"_qs;
    const struct {
        const char* name;
        QString feedURL;
        QByteArray feedXML;
        QByteArray served;
        QString status;
    } refusals[] = {
        { "signed by another key", httpsFeed, feed(stranger.sign(archive), archive.size()), archive,
            u"The update’s signature did not verify. Nothing was installed."_qs },
        { "tampered", httpsFeed, feed(signer.sign(archive), archive.size()), tampered,
            u"The update’s signature did not verify. Nothing was installed."_qs },
        { "truncated", httpsFeed, feed(signer.sign(archive), archive.size()), archive.left(archive.size() - 100),
            u"The update download was incomplete. Nothing was installed."_qs },
        { "feed over http", QString(httpsFeed).replace(u"https:"_qs, u"http:"_qs),
            feed(signer.sign(archive), archive.size()), archive, u"The update feed must be read over HTTPS."_qs },
        { "broken feed", server.baseURL() + u"/feed.xml"_qs, "<rss><channel><item>", archive,
            u"The update feed could not be read."_qs },
    };
    const auto controllerFor = [&](const QString& feedURL, bool userLocal = true) {
        auto controller
            = std::make_unique<AppUpdateController>(information(feedURL, QString::fromLatin1(signer.publicKey())),
                UpdaterStart::start, Installation { root, userLocal }, defaults,
                QList<QSslCertificate> { TestCertificate::shared().certificate });
        controller->prepareForInstallAndRelaunch = [] { return finishedTask(); };
        return controller;
    };
    for (const auto& refusal : refusals) {
        serve(refusal.feedXML, refusal.served);
        const auto controller = controllerFor(refusal.feedURL);
        Updater& updater = *controller->updater();
        runTask(updater.check());
        if (updater.canInstall())
            runTask(updater.install());
        EXPECT_EQ(updater.status(), refusal.status) << refusal.name;
        EXPECT_EQ(readFile(root + u"/bin/brindlet"_qs), "#!/bin/sh\necho old\n") << refusal.name;
        EXPECT_EQ(QDir(home.filePath(u"opt"_qs)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
            QStringList { u"brindlet"_qs })
            << refusal.name << ": nothing left beside the installation";
        EXPECT_FALSE(updater.relaunchExecutable()) << refusal.name;
    }

    serve(feed(signer.sign(archive), archive.size()), archive);
    const auto managed = controllerFor(httpsFeed, false);
    runTask(managed->updater()->check());
    EXPECT_EQ(managed->updater()->status(),
        u"Brindlet 1.2.0 is available. Install it with your system’s package manager."_qs);
    EXPECT_FALSE(managed->updater()->canInstall());

    const auto controller = controllerFor(httpsFeed);
    bool authorized = false, terminated = false;
    controller->authorizeInstallAndRelaunch = [&] { authorized = true; };
    controller->requestInstallAndRelaunchTermination = [&] { terminated = true; };
    runTask(controller->updater()->check());
    EXPECT_EQ(controller->updater()->status(), u"Brindlet 1.2.0 is available."_qs);
    runTask(controller->updater()->install());
    ASSERT_TRUE(runUntil([&] { return terminated; }));
    EXPECT_TRUE(authorized);
    EXPECT_EQ(readFile(root + u"/bin/brindlet"_qs), "#!/bin/sh\necho new\n");
    EXPECT_EQ(controller->updater()->relaunchExecutable(), root + u"/bin/brindlet"_qs);
    EXPECT_EQ(QDir(home.filePath(u"opt"_qs)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
        QStringList { u"brindlet"_qs });
}

} // namespace
