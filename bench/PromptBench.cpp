// assemblePrompt over a mebibyte of mixed text, against a plain copy of the same text.

#include "RatioReporter.h"
#include "domain/Prompt.h"

#include <QCoreApplication>

using namespace brindlet;

namespace {

QString mixedText()
{
    // Prose with the characters the encoder treats specially: quotes, backslashes, slashes,
    // line breaks, tabs, accents and an emoji outside the basic plane.
    const QString piece = QStringLiteral(
        "The \"quick\" brown fox \\ jumps over https://example.test/path and\nlands in a café\tnearby 😀. ");
    QString text;
    while (text.size() * 2 < (1 << 20))
        text += piece;
    return text;
}

const QString& sample()
{
    static const QString text = mixedText();
    return text;
}

void plainCopy(benchmark::State& state)
{
    for (auto _ : state) {
        QString copy(sample().constData(), sample().size());
        benchmark::DoNotOptimize(copy.data());
    }
    state.SetBytesProcessed(state.iterations() * sample().size() * 2);
}
BENCHMARK(plainCopy)->Unit(benchmark::kMicrosecond);

void assembleMebibytePrompt(benchmark::State& state)
{
    const auto preset = Preset::builtIn(QStringLiteral("Rewrite"));
    for (auto _ : state) {
        QString prompt = assemblePrompt(QStringLiteral("Make it formal"), preset, sample());
        benchmark::DoNotOptimize(prompt.data());
    }
    state.SetBytesProcessed(state.iterations() * sample().size() * 2);
}
BENCHMARK(assembleMebibytePrompt)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    return brindlet::bench::runBenchmarks(argc, argv,
        {
            { "assemblePrompt (1 MiB mixed) vs plain copy", "assembleMebibytePrompt", "plainCopy" },
        });
}
