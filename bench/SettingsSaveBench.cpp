// One settings change, which rewrites the whole defaults file, on a store holding 200 custom
// presets and a 200-event analytics queue, against a plain QSaveFile write of the same bytes.

#include "RatioReporter.h"
#include "settings/JsonFileDefaultsStore.h"
#include "settings/SettingsStore.h"

#include <QCoreApplication>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QUuid>

using namespace brindlet;

namespace {

QByteArray analyticsQueue()
{
    QByteArray json("[");
    const QString session = QUuid::createUuid().toString(QUuid::WithoutBraces).toLower();
    for (int i = 0; i < 200; ++i) {
        if (i > 0)
            json += ',';
        json += "{\"id\":\"" + QUuid::createUuid().toString(QUuid::WithoutBraces).toLower().toLatin1()
            + "\",\"sessionID\":\"" + session.toLatin1()
            + "\",\"type\":\"GENERATION_COMPLETED\",\"occurredAt\":" + QByteArray::number(785000000.25 + i)
            + ",\"dimensions\":{\"provider\":\"ollama\",\"action\":\"rewrite\","
              "\"trigger\":\"global_hotkey\",\"surface\":\"quick_hud\",\"delivery\":\"replace\",\"outcome\":"
              "\"success\","
              "\"durationBucket\":\"1to3s\"}}";
    }
    return json + "]";
}

QList<Preset> customPresets()
{
    QList<Preset> presets;
    for (int i = 0; i < 200; ++i)
        presets.append({ QUuid::createUuid(), QStringLiteral("Preset %1").arg(i), QStringLiteral("star"),
            QStringLiteral("Rewrite the selected text in the voice of a patient teacher, number %1.").arg(i),
            PresetInput::selectionRequired, DeliveryPreference::smart, false });
    return presets;
}

struct Fixture {
    QTemporaryDir dir;
    QString path = dir.filePath(QStringLiteral("Brindlet/defaults.json"));
    JsonFileDefaultsStore defaults { path };
    SettingsStore settings { defaults };

    Fixture()
    {
        defaults.setObject(DefaultsValue(analyticsQueue()), QStringLiteral("analytics.pendingEvents"));
        settings.setCustomPresets(customPresets());
    }
};

Fixture& fixture()
{
    static Fixture* instance = new Fixture;
    return *instance;
}

void settingsChange(benchmark::State& state)
{
    int i = 0;
    for (auto _ : state)
        fixture().settings.setOllamaModel(QStringLiteral("model-%1").arg(i++ % 2));
    QFile file(fixture().path);
    state.counters["file_bytes"] = double(file.size());
}
BENCHMARK(settingsChange)->Unit(benchmark::kMicrosecond);

void plainSaveFile(benchmark::State& state)
{
    QFile file(fixture().path);
    file.open(QIODevice::ReadOnly);
    const QByteArray bytes = file.readAll();
    const QString target = fixture().dir.filePath(QStringLiteral("plain.json"));
    for (auto _ : state) {
        QSaveFile save(target);
        save.open(QIODevice::WriteOnly);
        save.write(bytes);
        save.commit();
    }
    state.counters["file_bytes"] = double(bytes.size());
}
BENCHMARK(plainSaveFile)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    return brindlet::bench::runBenchmarks(argc, argv,
        {
            { "settings change (full save) vs plain QSaveFile write", "settingsChange", "plainSaveFile" },
        });
}
