#include "domain/Prompt.h"
#include "settings/JsonFileDefaultsStore.h"
#include "support/AgentPeers.h"
#include "support/CliRun.h"
#include "support/EventLoop.h"
#include "support/FakeHttpServer.h"
#include "support/Printers.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

void writeDefaults(const QHash<QString, DefaultsValue>& values)
{
    QFile::remove(cliConfigHome().filePath(u"Brindlet/defaults.json"_qs));
    JsonFileDefaultsStore store(cliConfigHome().filePath(u"Brindlet/defaults.json"_qs));
    QList<DefaultsChange> changes;
    for (auto it = values.begin(); it != values.end(); ++it)
        changes.append({ it.key(), it.value() });
    store.apply(changes);
}

TEST(BrindletCli, PromptPrintsTheAssembledBytesExactly)
{
    QString selection = u"He said \"no\" \\ path/to\nnext 😀 café\t"_qs;
    for (int i = 0; i < 15; ++i)
        selection += selection; // about a megabyte
    const CliRun run = runCli({ u"prompt"_qs, u"--preset"_qs, u"Translate"_qs, u"--instruction"_qs, u" French "_qs,
                                  u"--selection"_qs, u"-"_qs },
        selection.toUtf8());
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, assemblePrompt(u"French"_qs, Preset::builtIn(u"Translate"_qs), selection).toUtf8());
}

struct RefusalCase : NamedRow {
    QStringList arguments;
    QByteArray expectedError;
    QByteArray input = {};
};

class CliRefusals : public ::testing::TestWithParam<RefusalCase> { };

TEST_P(CliRefusals, ExplainAndExitWithUsage)
{
    const CliRun run = runCli(GetParam().arguments, GetParam().input);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.out.isEmpty());
    EXPECT_TRUE(run.err.contains(GetParam().expectedError)) << run.err.toStdString();
}

BRINDLET_ROWS(Cli, CliRefusals,
    RefusalCase { "nothingToDo", { u"generate"_qs }, "Describe what you want Brindlet to write or do." },
    RefusalCase { "unknownPreset", { u"prompt"_qs, u"--preset"_qs, u"fix writing"_qs },
        "No preset is named \"fix writing\". Presets: Write, Summarize, Fix Writing" },
    RefusalCase { "unknownProvider", { u"generate"_qs, u"--provider"_qs, u"gpt"_qs }, "unknown provider \"gpt\"" },
    RefusalCase { "missingSelectionFile",
        { u"prompt"_qs, u"--instruction"_qs, u"x"_qs, u"--selection"_qs, u"/nonexistent/file"_qs },
        "Cannot read the selection from /nonexistent/file" },
    RefusalCase { "noCommand", {}, "Usage:" },
    RefusalCase { "selectionNotUtf8", { u"prompt"_qs, u"--instruction"_qs, u"x"_qs, u"--selection"_qs, u"-"_qs },
        "brindlet-cli: The selection in - is not UTF-8 text.\n", "caf\xe9" });

TEST(BrindletCli, GenerateStreamsPreviewsAndPrintsTheTrimmedResult)
{
    FakeHttpServer server;
    server.setHandler([](const RecordedRequest& request) {
        if (request.path == "/api/tags")
            return FakeResponse::json(200, "{\"models\":[{\"name\":\"llama3.2\"},{\"name\":\"Qwen\"}]}");
        return FakeResponse::stream({ u"Their going"_qs, u" → They're going"_qs, u"\n"_qs }, 5ms);
    });
    const CliRun run = runCli({ u"generate"_qs, u"--preset"_qs, u"Fix Writing"_qs, u"--selection"_qs, u"-"_qs,
                                  u"--ollama-url"_qs, server.baseURL() },
        "Their going");
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, QByteArray("Their going → They're going\n"));
    EXPECT_TRUE(run.err.contains("Using the Ollama model Qwen.")) << run.err.toStdString();
    EXPECT_TRUE(run.err.contains("Their going → They're going")) << run.err.toStdString();
    ASSERT_EQ(server.requests().size(), 2);
    EXPECT_TRUE(server.requests()[1].body.startsWith("{\"model\":\"Qwen\",\"prompt\":"));
}

TEST(BrindletCli, DefaultsComeFromTheSettingsStoreAndFlagsOverrideThem)
{
    FakeHttpServer server;
    server.respondWith(FakeResponse::stream({ u"Arr, matey"_qs }));
    const Preset pirate { QUuid::createUuid(), u"Pirate"_qs, u"star"_qs, u"Talk like a pirate."_qs,
        PresetInput::selectionRequired, DeliveryPreference::copy, false };
    writeDefaults({ { u"defaultProvider"_qs, DefaultsValue(u"codex"_qs) },
        { u"ollamaURL"_qs, DefaultsValue(server.baseURL()) }, { u"ollamaModel"_qs, DefaultsValue(u"stored-model"_qs) },
        { u"customPresets"_qs, DefaultsValue(encodePresets({ pirate })) } });

    CliRun run = runCli({ u"generate"_qs, u"--preset"_qs, u"Pirate"_qs, u"--selection"_qs, u"-"_qs }, "Hello");
    EXPECT_EQ(run.exitCode, 1); // the stored provider is Codex
    EXPECT_TRUE(run.err.contains("The codex CLI is not installed")) << run.err.toStdString();

    run = runCli(
        { u"generate"_qs, u"--provider"_qs, u"ollama"_qs, u"--preset"_qs, u"Pirate"_qs, u"--selection"_qs, u"-"_qs },
        "Hello");
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, QByteArray("Arr, matey\n"));
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_TRUE(server.requests()[0].body.startsWith("{\"model\":\"stored-model\""))
        << server.requests()[0].body.toStdString();
    EXPECT_TRUE(server.requests()[0].body.contains("Talk like a pirate."));
    EXPECT_TRUE(server.requests()[0].body.contains(R"(\"selected_text\":\"Hello\")"));

    run = runCli({ u"generate"_qs, u"--provider"_qs, u"ollama"_qs, u"--ollama-model"_qs, u"flag-model"_qs,
        u"--instruction"_qs, u"x"_qs });
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(server.requests()[1].body.startsWith("{\"model\":\"flag-model\""));
    writeDefaults({});
}

// The "is Ollama running" hint only where nothing answered; a server that answered and then
// failed is running, and the hint would send the user the wrong way.
TEST(BrindletCli, GenerateFailureGivesTheProviderWordsAndAFittingHint)
{
    FakeHttpServer server;
    FakeResponse dropped = FakeResponse::stream({ u"Half"_qs }, {}, false);
    dropped.dropAfterChunks = true;
    const std::tuple<FakeResponse, QString, QByteArray, bool> rows[] = {
        { FakeResponse::lines({ "{\"error\":\"model 'ghost' not found\"}" }), server.baseURL(),
            "brindlet-cli: model 'ghost' not found\n", false },
        { dropped, server.baseURL(), "", false },
        { FakeResponse::lines({ "not json" }), server.baseURL(), "", false },
        { {}, u"http://127.0.0.1:%1"_qs.arg(closedLoopbackPort()), "brindlet-cli: Connection refused\n", true },
    };
    for (const auto& [response, url, expectedStart, hinted] : rows) {
        server.respondWith(response);
        const CliRun run = runCli({ u"generate"_qs, u"--instruction"_qs, u"Write a haiku"_qs, u"--ollama-url"_qs, url,
            u"--ollama-model"_qs, u"ghost"_qs });
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_TRUE(run.out.isEmpty());
        const QByteArray err = run.err.mid(run.err.indexOf("brindlet-cli: "));
        EXPECT_TRUE(err.startsWith(expectedStart)) << run.err.toStdString();
        EXPECT_EQ(err.contains("Is Ollama running at"), hinted) << run.err.toStdString();
    }
}

// Whatever the worker does (crash, hang, ignore SIGTERM, fork), and however the command ends (by
// itself or by Ctrl-C), no process it started and no folder it made is left behind.
TEST(BrindletCli, NothingItStartsOutlivesIt)
{
    const QString chunk
        = uR"(out {"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"text_delta","text":"Hi"}}})"_qs;
    const QString result = uR"(out {"type":"result","subtype":"success","is_error":false,"result":"Hi"})"_qs;
    struct Row {
        const char* name;
        QStringList script;
        bool interrupt; // the user presses Ctrl-C once the worker has the request
        int runs;
    };
    const Row rows[] = {
        { "crash", { u"if-arg stream-json read-line"_qs, u"crash"_qs }, false, 20 },
        { "grandchild", { u"fork-grandchild"_qs, u"if-arg stream-json read-line"_qs, chunk, result, u"read-line"_qs },
            false, 10 },
        { "hang", { u"read-line"_qs, u"hang"_qs }, true, 5 },
        { "ignoreTerm", { u"ignore-term"_qs, u"fork-grandchild"_qs, u"read-line"_qs, u"hang"_qs }, true, 3 },
    };
    for (const Row& row : rows) {
        for (int run = 0; run < row.runs; ++run) {
            AgentPeers peers;
            peers.script(row.script);
            QTemporaryDir temporary;
            QProcess process;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(u"XDG_CONFIG_HOME"_qs, cliConfigHome().path());
            environment.insert(u"TMPDIR"_qs, temporary.path());
            process.setProcessEnvironment(environment);
            process.start(QStringLiteral(BRINDLET_CLI_PATH),
                { u"generate"_qs, u"--provider"_qs, u"claude"_qs, u"--instruction"_qs, u"Say hi"_qs });
            process.closeWriteChannel();
            if (row.interrupt) {
                ASSERT_TRUE(runUntil([&] { return !QDir(peers.records()).entryList({ u"*.stdin"_qs }).isEmpty(); }))
                    << row.name;
                ::kill(pid_t(process.processId()), SIGINT);
            }
            ASSERT_TRUE(runUntil([&] { return process.state() == QProcess::NotRunning; }, 20s)) << row.name;
            EXPECT_EQ(process.exitCode(),
                row.interrupt                     ? 128 + SIGINT
                    : row.script.contains(result) ? 0
                                                  : 1)
                << row.name << process.readAllStandardError().toStdString();
            // A process killed just before the command exited may take a moment to die.
            for (const qint64 pid : peers.processIDs())
                EXPECT_TRUE(runUntil([pid] { return AgentPeers::isGone(pid); }, 5s)) << row.name << " left " << pid;
            EXPECT_EQ(QDir(temporary.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList())
                << row.name;
        }
    }
}

} // namespace

namespace {

// status asks every provider at once and spends nothing: no prompt reaches Ollama or a program.
TEST(BrindletCli, StatusReportsEveryProviderWithoutGenerating)
{
    FakeHttpServer server;
    server.respondWith(FakeResponse::json(200, "{\"models\":[{\"name\":\"qwen\"},{\"name\":\"llama3.2\"}]}"));
    AgentPeers peers({ u"claude"_qs });
    peers.script({ u"read-all"_qs, uR"(out {"loggedIn":true})"_qs });
    const CliRun run = runCli({ u"status"_qs, u"--ollama-url"_qs, server.baseURL() });
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QList<QByteArray> lines = run.out.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 5) << run.out.toStdString();
    EXPECT_EQ(lines[0], "ollama: ready        Ollama is running with 2 installed models. Models: llama3.2, qwen.");
    EXPECT_TRUE(lines[1].startsWith("claude: ready        Claude CLI is signed in.")) << lines[1].toStdString();
    for (const RecordedRequest& request : server.requests())
        EXPECT_EQ(request.path, "/api/tags");
    for (const QJsonObject& start : peers.starts())
        EXPECT_TRUE(peers.input(start[u"pid"].toInteger()).isEmpty());
}

TEST(BrindletCli, HelpAndVersionAnswerOnStandardOutput)
{
    const CliRun help = runCli({ u"--help"_qs });
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains("Exit codes: 0 done; 1 the command failed")) << help.out.toStdString();
    const CliRun one = runCli({ u"help"_qs, u"replace"_qs });
    EXPECT_EQ(one.out, "Usage:\n  brindlet-cli replace  --text TEXT | --text-file FILE|-\n");
    const CliRun version = runCli({ u"--version"_qs });
    EXPECT_EQ(version.out, "brindlet-cli " BRINDLET_VERSION "\n");
}

} // namespace
