// brindlet-cli presets: scripted changes land in the settings store, and bad input changes nothing.

#include "support/CliRun.h"

#include <gtest/gtest.h>

using namespace brindlet::test;

namespace {

QStringList customLines()
{
    QStringList lines = QString::fromUtf8(runCli({ u"presets"_qs, u"list"_qs }).out).split(u'\n', Qt::SkipEmptyParts);
    lines.removeIf([](const QString& line) { return !line.contains(u"\tcustom\t"); });
    return lines;
}

TEST(PresetsCli, AddListExportRemoveAndImportAgree)
{
    ASSERT_EQ(runCli({ u"presets"_qs, u"add"_qs, u"--name"_qs, u"Pirate"_qs, u"--instruction"_qs,
                         u"Talk like a sailor"_qs, u"--input"_qs, u"newContent"_qs })
                  .exitCode,
        0);
    ASSERT_EQ(runCli({ u"presets"_qs, u"add"_qs, u"--name"_qs, u"Shout"_qs, u"--instruction"_qs, u"Make it loud"_qs,
                         u"--delivery"_qs, u"copy"_qs })
                  .exitCode,
        0);
    EXPECT_EQ(customLines(),
        (QStringList { u"Pirate\tcustom\tnewContent\tsmart\tTalk like a sailor"_qs,
            u"Shout\tcustom\tselectionOptional\tcopy\tMake it loud"_qs }));
    // A custom preset is usable by name wherever --preset is.
    EXPECT_TRUE(runCli({ u"prompt"_qs, u"--preset"_qs, u"Shout"_qs }).out.contains("Make it loud"));

    const QByteArray exported = runCli({ u"presets"_qs, u"export"_qs }).out;
    EXPECT_EQ(runCli({ u"presets"_qs, u"remove"_qs, u"Pirate"_qs }).exitCode, 0);
    const CliRun imported = runCli({ u"presets"_qs, u"import"_qs, u"-"_qs }, exported);
    EXPECT_EQ(imported.exitCode, 0) << imported.err.toStdString();
    EXPECT_EQ(imported.out, "Imported 2 presets: 1 new, 1 updated.\n");
    EXPECT_EQ(customLines().size(), 2);

    // Every refusal is worded, fails, and leaves the stored presets as they were.
    ASSERT_EQ(runCli({ u"presets"_qs, u"add"_qs, u"--name"_qs, u"Twin"_qs, u"--instruction"_qs, u"a"_qs }).exitCode, 0);
    ASSERT_EQ(runCli({ u"presets"_qs, u"add"_qs, u"--name"_qs, u"Twin"_qs, u"--instruction"_qs, u"b"_qs }).exitCode, 0);
    const QByteArray before = runCli({ u"presets"_qs, u"export"_qs }).out;
    const std::pair<QStringList, QByteArray> refusals[] = {
        { { u"import"_qs, u"-"_qs }, "not JSON" },
        { { u"import"_qs, u"-"_qs }, "{\"name\":\"x\"}" },
        { { u"import"_qs, u"-"_qs }, "[{\"instruction\":\"x\"}]" },
        { { u"import"_qs, u"-"_qs }, "[{\"name\":\"A\",\"instruction\":\"x\"},{\"name\":\"B\"}]" },
        { { u"import"_qs, u"-"_qs }, "[{\"name\":\"A\",\"instruction\":\"x\",\"input\":\"sometimes\"}]" },
        { { u"import"_qs, u"/no/such/file"_qs }, {} },
        { { u"remove"_qs, u"Nobody"_qs }, {} },
        { { u"remove"_qs, u"Twin"_qs }, {} },
        { { u"remove"_qs, u"Rewrite"_qs }, {} },
        { { u"add"_qs, u"--name"_qs, u"  "_qs, u"--instruction"_qs, u"x"_qs }, {} },
    };
    for (const auto& [arguments, input] : refusals) {
        const CliRun run = runCli(QStringList { u"presets"_qs } + arguments, input);
        SCOPED_TRACE(arguments.join(u' ').toStdString() + " " + input.toStdString());
        EXPECT_NE(run.exitCode, 0);
        EXPECT_TRUE(run.err.startsWith("brindlet-cli: ")) << run.err.toStdString();
        EXPECT_EQ(runCli({ u"presets"_qs, u"export"_qs }).out, before);
    }
}

} // namespace
