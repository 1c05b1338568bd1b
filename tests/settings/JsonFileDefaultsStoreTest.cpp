#include "settings/JsonFileDefaultsStore.h"
#include "settings/SettingsStore.h"
#include "support/EventLoop.h"
#include "support/Printers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

class JsonFileDefaultsStoreTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString path() const { return dir.filePath(QStringLiteral("Brindlet/defaults.json")); }

    void writeRaw(const QByteArray& bytes) const
    {
        QDir().mkpath(QFileInfo(path()).absolutePath());
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    QStringList asideFiles() const
    {
        return QDir(QFileInfo(path()).absolutePath())
            .entryList({ QStringLiteral("defaults.json.broken-*") }, QDir::Files);
    }
};

TEST_F(JsonFileDefaultsStoreTest, TypesSurviveARestart)
{
    {
        JsonFileDefaultsStore store(path());
        store.apply({ { u"s"_qs, DefaultsValue(u"text ✓"_qs) }, { u"off"_qs, DefaultsValue(false) },
            { u"n"_qs, DefaultsValue(qint64(-42)) }, { u"x"_qs, DefaultsValue(2.5) },
            { u"blob"_qs, DefaultsValue(QByteArray("\x00\xff{}", 4)) }, { u"flag"_qs, DefaultsValue(u"no"_qs) } });
        store.setObject(std::nullopt, u"n"_qs); // writing nothing removes the key
    }
    JsonFileDefaultsStore reopened(path());
    EXPECT_EQ(reopened.stringForKey(u"s"_qs), u"text ✓"_qs);
    EXPECT_EQ(booleanValue(reopened.objectForKey(u"off"_qs)), false);
    EXPECT_FALSE(reopened.objectForKey(u"n"_qs));
    EXPECT_FALSE(booleanValue(reopened.objectForKey(u"absent"_qs)));
    EXPECT_EQ(reopened.objectForKey(u"x"_qs), DefaultsValue(2.5));
    EXPECT_EQ(reopened.dataForKey(u"blob"_qs), QByteArray("\x00\xff{}", 4));
    // A Boolean key that holds a string does not convert, and is not a blob either.
    EXPECT_FALSE(booleanValue(reopened.objectForKey(u"flag"_qs)));
    EXPECT_FALSE(reopened.dataForKey(u"flag"_qs));
    EXPECT_TRUE(asideFiles().isEmpty());
}

// The application keeps its settings in memory while brindlet-cli adds a preset to the file: once
// the application takes it in, its own next save keeps the preset instead of writing over it.
TEST_F(JsonFileDefaultsStoreTest, PresetsAnotherProgramStoredSurviveTheNextSave)
{
    JsonFileDefaultsStore appDefaults(path());
    SettingsStore app(appDefaults);
    app.setOllamaModel(u"m"_qs);
    EXPECT_FALSE(appDefaults.refresh()); // its own write is nothing new
    {
        JsonFileDefaultsStore cliDefaults(path());
        SettingsStore cli(cliDefaults);
        cli.setCustomPresets({ { QUuid::createUuid(), u"Pirate"_qs, u"wand.and.stars"_qs, u"Talk like a sailor"_qs,
            PresetInput::selectionOptional, DeliveryPreference::smart, false } });
    }
    app.reloadCustomPresets();
    ASSERT_EQ(app.customPresets().size(), 1);
    app.setOllamaModel(u"other"_qs);
    JsonFileDefaultsStore reopened(path());
    EXPECT_EQ(SettingsStore(reopened).customPresets(), app.customPresets());
}

TEST_F(JsonFileDefaultsStoreTest, TwoProcessesWritingAtOnceKeepEveryKey)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_CONFIG_HOME"_qs, dir.path());
    QProcess a, b;
    for (const auto& [process, prefix] : { std::pair { &a, u"a"_qs }, std::pair { &b, u"b"_qs } }) {
        process->setProcessEnvironment(environment);
        process->start(QStringLiteral(SETTINGS_PROBE_PATH), { u"hammer"_qs, prefix, u"40"_qs });
    }
    ASSERT_TRUE(a.waitForFinished(30000) && b.waitForFinished(30000));
    JsonFileDefaultsStore store(path());
    for (int i = 0; i < 40; ++i) {
        EXPECT_TRUE(store.objectForKey(u"a"_qs + QString::number(i))) << i;
        EXPECT_TRUE(store.objectForKey(u"b"_qs + QString::number(i))) << i;
    }
}

struct BrokenCase : NamedRow {
    QByteArray content;
    QStringList readableKeys;
    bool originalStaysInPlace; // partly readable files stay until the next write
};

class BrokenDefaultsFile : public JsonFileDefaultsStoreTest, public ::testing::WithParamInterface<BrokenCase> { };

TEST_P(BrokenDefaultsFile, IsSetAsideWithoutLosingReadableKeys)
{
    const BrokenCase& c = GetParam();
    writeRaw(c.content);
    JsonFileDefaultsStore store(path());
    for (const QString& key : c.readableKeys)
        EXPECT_TRUE(store.objectForKey(key)) << key.toStdString();
    ASSERT_EQ(asideFiles().size(), 1);
    QFile aside(QFileInfo(path()).absolutePath() + u"/"_qs + asideFiles()[0]);
    ASSERT_TRUE(aside.open(QIODevice::ReadOnly));
    EXPECT_EQ(aside.readAll(), c.content); // the user's file is kept as it was
    EXPECT_EQ(QFile::exists(path()), c.originalStaysInPlace);

    store.setObject(DefaultsValue(u"v"_qs), u"new"_qs);
    JsonFileDefaultsStore reopened(path());
    EXPECT_EQ(reopened.stringForKey(u"new"_qs), u"v"_qs);
    for (const QString& key : c.readableKeys)
        EXPECT_TRUE(reopened.objectForKey(key)) << key.toStdString();
    EXPECT_EQ(asideFiles().size(), 1); // a clean file is never put aside again
}

BRINDLET_ROWS(Defaults, BrokenDefaultsFile,
    BrokenCase { "truncated", "{\"ollamaURL\":{\"string\":\"http://h\"},\"x\":{\"bo", {}, false },
    BrokenCase { "notJson", "\x89PNG\r\n\x1a\n garbage", {}, false },
    BrokenCase { "topLevelArray", "[1,2,3]", {}, false },
    BrokenCase { "foreignEntries",
        "{\"ollamaURL\":{\"string\":\"http://h\"},\"plist\":\"<dict/>\",\"n\":{\"integer\":1.5},"
        "\"two\":{\"string\":\"a\",\"bool\":true},\"blob\":{\"data\":\"!!notbase64\"},"
        "\"ok\":{\"bool\":false}}",
        { u"ollamaURL"_qs, u"ok"_qs }, true });

TEST_F(JsonFileDefaultsStoreTest, UnwritableLocationKeepsValuesInMemory)
{
    // A directory where the file should be: nothing can be written, nothing crashes.
    QDir().mkpath(path());
    JsonFileDefaultsStore store(path());
    store.setObject(DefaultsValue(u"kept"_qs), u"k"_qs);
    EXPECT_EQ(store.stringForKey(u"k"_qs), u"kept"_qs);
}

} // namespace
