// brindlet-cli: the generation spine without a window. It assembles the same prompt the
// application would send, runs it through the same provider service, and lists Ollama models.
// On an X11 desktop it also captures, replaces and fixes text in the focused application.

#include "DesktopCommands.h"
#include "PresetCommands.h"
#include "core/CommandRules.h"
#include "domain/DescribedError.h"
#include "domain/OllamaReadiness.h"
#include "domain/Prompt.h"
#include "domain/Utf8.h"
#include "net/NetworkError.h"
#include "platform/linux/LinuxDesktop.h"
#include "providers/AIProviderService.h"
#include "providers/ChildProcesses.h"
#include "providers/ManagedCLIProcess.h"
#include "providers/ProviderError.h"
#include "settings/JsonFileDefaultsStore.h"
#include "settings/SettingsStore.h"
#include "tasks/Runtime.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <unistd.h>

using namespace brindlet;

namespace {

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

void writeOut(FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

// A failure of the user's input, reported with a usage exit code.
struct UsageError {
    QString message;
};

struct Request {
    QString direction;
    std::optional<Preset> preset;
    std::optional<QString> selection;
};

QStringList presetNames(const QList<Preset>& presets)
{
    QStringList names;
    for (const Preset& preset : presets)
        names << preset.name;
    return names;
}

std::optional<Preset> findPreset(const QString& name, const QList<Preset>& presets)
{
    for (const Preset& preset : presets) {
        if (preset.name == name)
            return preset;
    }
    throw UsageError { QStringLiteral("No preset is named \"%1\". Presets: %2.")
                           .arg(name, presetNames(presets).join(QStringLiteral(", "))) };
}

QString readSelection(const QString& source)
{
    QFile file;
    const bool opened = source == QLatin1String("-") ? file.open(stdin, QIODevice::ReadOnly)
                                                     : (file.setFileName(source), file.open(QIODevice::ReadOnly));
    if (!opened)
        throw UsageError { QStringLiteral("Cannot read the selection from %1: %2").arg(source, file.errorString()) };
    const auto text = decodeUtf8(file.readAll());
    if (!text)
        throw UsageError { QStringLiteral("The selection in %1 is not UTF-8 text.").arg(source) };
    return *text;
}

Request readRequest(const QCommandLineParser& parser, const SettingsStore& settings)
{
    Request request;
    request.direction = parser.value(QStringLiteral("instruction")).trimmed();
    const QList<Preset> presets = Preset::builtIns() + settings.customPresets();
    if (parser.isSet(QStringLiteral("preset")))
        request.preset = findPreset(parser.value(QStringLiteral("preset")), presets);
    if (parser.isSet(QStringLiteral("selection"))) {
        // A capture never yields empty text: an empty file is no selection at all.
        const QString text = readSelection(parser.value(QStringLiteral("selection")));
        if (!text.isEmpty())
            request.selection = text;
    }
    const CommandSource source { request.selection, request.selection.value_or(QString()) };
    if (auto refusal = commandRefusal(request.preset, request.direction, source))
        throw UsageError { *refusal };
    request.selection = commandSelectedText(request.preset, source);
    return request;
}

QString assembled(const Request& request)
{
    return assemblePrompt(request.direction, request.preset, request.selection);
}

// Ollama answered, but has nothing to run the request with.
class NoInstalledModel : public DescribedError {
public:
    QString description() const override { return OllamaWords::noModels; }
};

// What the user can do about a provider failure, beyond the provider's own words. Decided by the
// error's type, never by its wording, except for the sign-in words that are the rule everywhere.
QString hintFor(const std::exception_ptr& error, ProviderKind provider, const ProviderConfiguration& configuration)
{
    if (provider != ProviderKind::ollama && provider != ProviderKind::claude)
        return QStringLiteral("Use --provider ollama with a running Ollama server.");
    if (AIProviderService::isAuthenticationFailure(error))
        return QStringLiteral("Sign in to the %1, or use --provider ollama.").arg(displayName(provider));
    try {
        std::rethrow_exception(error);
    } catch (const ProviderError& providerError) {
        if (providerError.kind() == ProviderError::Kind::cliNotFound)
            return QStringLiteral("Install the %1 and sign in to it, or use --provider ollama.")
                .arg(displayName(provider));
        if (providerError.kind() == ProviderError::Kind::invalidURL)
            return QStringLiteral("Pass an address such as --ollama-url http://127.0.0.1:11434.");
    } catch (const NoInstalledModel&) {
        return QStringLiteral("Install one with `ollama pull llama3.2`, or pass --ollama-model NAME.");
    } catch (const NetworkError& networkError) {
        // A server that answered and then failed is running; starting it again would not help.
        if (provider == ProviderKind::ollama && networkError.isUnreachable())
            return QStringLiteral("Is Ollama running at %1? Start it with `ollama serve`, install a model with "
                                  "`ollama pull llama3.2`, or pass --ollama-url.")
                .arg(configuration.ollamaURL);
    } catch (...) {
    }
    return {};
}

// Prints the previews (each the whole text so far) to standard error, only what is new. Providers
// extend the text between previews and replace it only at the end (a trimmed final text, a
// fallback's answer), so the check looks at the ends of what was printed: each preview costs its
// new part, never the whole text again.
class PreviewPrinter {
public:
    Task<void> show(QString text)
    {
        if (extendsPrinted(text)) {
            writeOut(stderr, text.mid(printed_));
        } else {
            writeOut(stderr, QStringLiteral("\n") + text);
        }
        printed_ = text.size();
        head_ = text.left(edge);
        tail_ = text.right(edge);
        co_return;
    }
    // Ends the preview line, if there is one.
    void finish() const
    {
        if (printed_ > 0)
            writeOut(stderr, QStringLiteral("\n"));
    }

private:
    static constexpr qsizetype edge = 32;
    bool extendsPrinted(const QString& text) const
    {
        return text.size() >= printed_ && QStringView(text).left(head_.size()) == head_
            && QStringView(text).mid(printed_ - tail_.size(), tail_.size()) == tail_;
    }
    qsizetype printed_ = 0;
    QString head_, tail_;
};

void reportFailure(const std::exception_ptr& error, ProviderKind provider, const ProviderConfiguration& configuration)
{
    writeOut(stderr, QStringLiteral("brindlet-cli: %1\n").arg(describe(error)));
    if (const QString hint = hintFor(error, provider, configuration); !hint.isEmpty())
        writeOut(stderr, hint + QLatin1Char('\n'));
}

// Like the application, fall back to the first installed model when none is chosen.
Task<void> chooseFirstModelIfNone(AIProviding* providers, ProviderConfiguration* configuration)
{
    if (!configuration->ollamaModel.isEmpty())
        co_return;
    const QStringList models = co_await providers->ollamaModels(configuration->ollamaURL);
    const auto first = modelToChoose(configuration->ollamaModel, models);
    if (!first)
        throw NoInstalledModel();
    configuration->ollamaModel = *first;
    writeOut(stderr, QStringLiteral("Using the Ollama model %1.\n").arg(*first));
}

Task<void> runGenerate(
    AIProviding* providers, QString prompt, ProviderKind provider, ProviderConfiguration configuration, int* exitCode)
{
    PreviewPrinter preview;
    PartialTextHandler onPartialText = [&preview](QString text) { return preview.show(std::move(text)); };
    try {
        if (provider == ProviderKind::ollama)
            co_await chooseFirstModelIfNone(providers, &configuration);
        const QString text = co_await providers->generate(prompt, provider, configuration, onPartialText);
        preview.finish();
        writeOut(stdout, text + QLatin1Char('\n'));
        *exitCode = 0;
    } catch (const CancellationError&) {
        preview.finish(); // stopped by a signal, which set the exit code
        co_return;
    } catch (...) {
        preview.finish();
        reportFailure(std::current_exception(), provider, configuration);
        *exitCode = exitFailure;
    }
    QCoreApplication::exit(*exitCode);
}

Task<void> runModels(AIProviding* providers, ProviderConfiguration configuration, int* exitCode)
{
    try {
        const QStringList models = co_await providers->ollamaModels(configuration.ollamaURL);
        for (const QString& name : models)
            writeOut(stdout, name + QLatin1Char('\n'));
        if (models.isEmpty())
            writeOut(stderr, OllamaWords::noModels + QLatin1Char('\n'));
        *exitCode = 0;
    } catch (...) {
        reportFailure(std::current_exception(), ProviderKind::ollama, configuration);
        *exitCode = exitFailure;
    }
    QCoreApplication::exit(*exitCode);
}

// Ctrl-C, a hang-up or a termination request ends the command the orderly way: its tasks are
// cancelled and every program it started is ended, as at its own end.
int stopSignalPipe[2] = { -1, -1 };

void onStopSignal(int signal)
{
    const char byte = char(signal);
    (void)!::write(stopSignalPipe[1], &byte, 1);
}

void stopOnSignals(int* exitCode)
{
    if (::pipe2(stopSignalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* notifier = new QSocketNotifier(stopSignalPipe[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [exitCode] {
        char signal = 0;
        (void)!::read(stopSignalPipe[0], &signal, 1);
        *exitCode = 128 + signal;
        QCoreApplication::exit(*exitCode);
    });
    for (int signal : { SIGINT, SIGTERM, SIGHUP }) {
        struct sigaction action { };
        action.sa_handler = onStopSignal;
        ::sigaction(signal, &action, nullptr);
    }
}

// Every provider at once, since a status command may take seconds; printed in the usual order.
struct StatusBoard {
    std::array<std::optional<ProviderReadiness>, allProviderKinds.size()> results;
    std::size_t pending = allProviderKinds.size();
};

void printStatus(const StatusBoard& board)
{
    for (std::size_t i = 0; i < allProviderKinds.size(); ++i) {
        const ProviderReadiness& readiness = *board.results[i];
        QString line = QString(wireName(allProviderKinds[i]) + QLatin1Char(':')).leftJustified(8)
            + QString(readiness.state == ProviderReadiness::State::ready ? u"ready"_qs : u"unavailable"_qs)
                  .leftJustified(13)
            + readiness.detail;
        if (!readiness.ollamaModels.isEmpty())
            line += QStringLiteral(" Models: ") + readiness.ollamaModels.join(QStringLiteral(", ")) + QLatin1Char('.');
        writeOut(stdout, line + QLatin1Char('\n'));
    }
}

Task<void> checkProvider(AIProviding* providers, std::size_t index, ProviderConfiguration configuration,
    std::shared_ptr<StatusBoard> board, int* exitCode)
{
    board->results[index] = co_await providers->readiness(allProviderKinds[index], configuration);
    if (--board->pending > 0)
        co_return;
    printStatus(*board);
    *exitCode = 0;
    QCoreApplication::exit(*exitCode);
}

const char* usage
    = "Usage:\n"
      "  brindlet-cli prompt   [--preset NAME] [--instruction TEXT] [--selection FILE|-]\n"
      "  brindlet-cli generate [--preset NAME] [--instruction TEXT] [--selection FILE|-]\n"
      "                        [--provider NAME] [--ollama-url URL] [--ollama-model NAME] [--show-prompt]\n"
      "  brindlet-cli models   [--ollama-url URL]\n"
      "  brindlet-cli capture\n"
      "  brindlet-cli replace  --text TEXT | --text-file FILE|-\n"
      "  brindlet-cli fix      [--provider NAME] [--ollama-url URL] [--ollama-model NAME]\n"
      "  brindlet-cli status   [--ollama-url URL] [--ollama-model NAME]\n"
      "  brindlet-cli presets  list | export | remove NAME | import FILE|-\n"
      "  brindlet-cli presets  add --name NAME --instruction TEXT [--input WORD] [--delivery WORD] [--image NAME]\n"
      "    input: selectionRequired, selectionOptional (the default) or newContent;\n"
      "    delivery: smart (the default), replace, insert or copy. A custom preset is usable by its\n"
      "    name wherever --preset is.\n"
      "  brindlet-cli help [COMMAND] | --help | --version\n"
      "\n"
      "Exit codes: 0 done; 1 the command failed, with the reason on standard error; 2 the command\n"
      "line was wrong; 128+N stopped by signal N.\n";

// The usage lines of one command, or all of them.
QString usageOf(const QString& command)
{
    const QStringList lines = QString::fromLatin1(usage).split(QLatin1Char('\n'));
    QStringList chosen { lines.constFirst() };
    bool inCommand = false;
    for (const QString& line : lines.mid(1)) {
        if (line.startsWith(u"  brindlet-cli "))
            inCommand = line.mid(15).section(QLatin1Char(' '), 0, 0) == command;
        else if (!line.startsWith(u"    "))
            inCommand = false;
        if (inCommand)
            chosen << line;
    }
    return chosen.size() > 1 ? chosen.join(QLatin1Char('\n')) + QLatin1Char('\n') : QString::fromLatin1(usage);
}

// The generation that fix runs: the configured provider, with the same failure report as generate.
Task<QString> generateForFix(
    AIProviding* providers, QString prompt, ProviderKind provider, ProviderConfiguration configuration)
{
    if (provider == ProviderKind::ollama)
        co_await chooseFirstModelIfNone(providers, &configuration);
    co_return co_await providers->generate(prompt, provider, configuration, nullptr);
}

std::optional<QString> replacementText(const QCommandLineParser& parser)
{
    if (parser.isSet(QStringLiteral("text")) == parser.isSet(QStringLiteral("text-file")))
        throw UsageError { QStringLiteral("replace takes exactly one of --text and --text-file.") };
    const QString text = parser.isSet(QStringLiteral("text"))
        ? parser.value(QStringLiteral("text"))
        : readSelection(parser.value(QStringLiteral("text-file")));
    if (text.isEmpty())
        throw UsageError { QStringLiteral("the replacement text is empty.") };
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    QCommandLineParser parser;
    parser.addOptions({
        { QStringLiteral("preset"), QStringLiteral("A preset by its exact name."), QStringLiteral("NAME") },
        { QStringLiteral("instruction"), QStringLiteral("The direction to the model."), QStringLiteral("TEXT") },
        { QStringLiteral("selection"), QStringLiteral("Selected text from a file, or - for standard input."),
            QStringLiteral("FILE") },
        { QStringLiteral("provider"), QStringLiteral("ollama, claude, codex, cursor or gemini."),
            QStringLiteral("NAME") },
        { QStringLiteral("ollama-url"), QStringLiteral("The Ollama server's address."), QStringLiteral("URL") },
        { QStringLiteral("ollama-model"), QStringLiteral("The Ollama model."), QStringLiteral("NAME") },
        { QStringLiteral("show-prompt"), QStringLiteral("Print the prompt to standard error before sending it.") },
        { QStringLiteral("text"), QStringLiteral("The text that replace writes."), QStringLiteral("TEXT") },
        { QStringLiteral("name"), QStringLiteral("The name of a preset to add."), QStringLiteral("NAME") },
        { QStringLiteral("input"), QStringLiteral("What a preset to add works on."), QStringLiteral("WORD") },
        { QStringLiteral("delivery"), QStringLiteral("How a preset to add returns its result."),
            QStringLiteral("WORD") },
        { QStringLiteral("image"), QStringLiteral("The image of a preset to add."), QStringLiteral("NAME") },
        { QStringLiteral("help"), QStringLiteral("Print the usage and exit.") },
        { QStringLiteral("version"), QStringLiteral("Print the version and exit.") },
        { QStringLiteral("text-file"),
            QStringLiteral("The text that replace writes, from a file or - for standard input."),
            QStringLiteral("FILE") },
    });
    parser.addPositionalArgument(QStringLiteral("command"),
        QStringLiteral("prompt, generate, models, status, presets, capture, replace or fix"));
    if (!parser.parse(arguments)) {
        writeOut(stderr, QStringLiteral("brindlet-cli: %1\n").arg(parser.errorText()) + QString::fromLatin1(usage));
        return exitUsage;
    }
    const QStringList positional = parser.positionalArguments();
    const QString command = positional.value(0);
    if (parser.isSet(QStringLiteral("version"))) {
        writeOut(stdout, QStringLiteral("brindlet-cli " BRINDLET_VERSION "\n"));
        return 0;
    }
    if (parser.isSet(QStringLiteral("help")) || command == u"help") {
        writeOut(stdout, command == u"help" ? usageOf(positional.value(1)) : QString::fromLatin1(usage));
        return 0;
    }
    if (command == u"presets") {
        QCoreApplication app(argc, argv);
        JsonFileDefaultsStore defaults;
        SettingsStore settings(defaults);
        const PresetCommandOutcome outcome = runPresetsCommand(positional.mid(1), parser, settings);
        writeOut(stdout, outcome.output);
        if (!outcome.error.isEmpty())
            writeOut(stderr, QStringLiteral("brindlet-cli: %1\n").arg(outcome.error));
        return outcome.exitCode;
    }
    const QStringList desktopCommands { u"capture"_qs, u"replace"_qs, u"fix"_qs };
    if (positional.size() != 1
        || !(QStringList { u"prompt"_qs, u"generate"_qs, u"models"_qs, u"status"_qs }.contains(command)
            || desktopCommands.contains(command))) {
        writeOut(stderr, QString::fromLatin1(usage));
        return exitUsage;
    }
    const bool onDesktop = desktopCommands.contains(command);
    if (onDesktop) {
        if (const QString problem = LinuxDesktop::problemBeforeStart(); !problem.isEmpty()) {
            writeOut(stderr, QStringLiteral("brindlet-cli: %1\n").arg(problem));
            return exitFailure;
        }
        qputenv("QT_QPA_PLATFORM", "xcb"); // the display was checked; never another platform
    }
    const std::unique_ptr<QCoreApplication> app
        = onDesktop ? std::make_unique<QGuiApplication>(argc, argv) : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("brindlet-cli"));

    // What the user set in the application is what the command line uses; flags override it.
    JsonFileDefaultsStore defaults;
    SettingsStore settings(defaults);
    ProviderConfiguration configuration { settings.ollamaURL(), settings.ollamaModel() };
    if (parser.isSet(QStringLiteral("ollama-url")))
        configuration.ollamaURL = parser.value(QStringLiteral("ollama-url"));
    if (parser.isSet(QStringLiteral("ollama-model")))
        configuration.ollamaModel = parser.value(QStringLiteral("ollama-model")).trimmed();
    ProviderKind provider = settings.defaultProvider();
    if (parser.isSet(QStringLiteral("provider"))) {
        const auto kind = providerKindFromWireName(parser.value(QStringLiteral("provider")));
        if (!kind) {
            writeOut(stderr,
                QStringLiteral("brindlet-cli: unknown provider \"%1\"; use ollama, claude, codex, cursor "
                               "or gemini.\n")
                    .arg(parser.value(QStringLiteral("provider"))));
            return exitUsage;
        }
        provider = *kind;
    }

    AIProviderService providers;
    int exitCode = exitFailure;
    if (command == QLatin1String("models")) {
        spawn(runModels(&providers, configuration, &exitCode));
        QCoreApplication::exec();
        return exitCode;
    }
    if (command == QLatin1String("status")) {
        stopOnSignals(&exitCode);
        const auto board = std::make_shared<StatusBoard>();
        for (std::size_t i = 0; i < allProviderKinds.size(); ++i)
            spawn(checkProvider(&providers, i, configuration, board, &exitCode));
        QCoreApplication::exec();
        finishAllTasks(std::chrono::seconds(2));
        ChildProcesses::shared().endAll(ManagedCLIProcess::killDelay);
        return exitCode;
    }
    if (onDesktop) {
        DesktopCommand desktopCommand;
        desktopCommand.kind = command == u"capture" ? DesktopCommand::Kind::capture
            : command == u"replace"                 ? DesktopCommand::Kind::replace
                                                    : DesktopCommand::Kind::fix;
        try {
            if (desktopCommand.kind == DesktopCommand::Kind::replace)
                desktopCommand.replacement = *replacementText(parser);
        } catch (const UsageError& error) {
            writeOut(stderr, QStringLiteral("brindlet-cli: %1\n").arg(error.message));
            return exitUsage;
        }
        desktopCommand.generate = [&providers, provider, configuration](QString prompt) {
            return generateForFix(&providers, std::move(prompt), provider, configuration);
        };
        desktopCommand.reportGenerationFailure = [provider, configuration](const std::exception_ptr& error) {
            reportFailure(error, provider, configuration);
        };
        stopOnSignals(&exitCode);
        runDesktopCommand(desktopCommand, &exitCode);
        finishAllTasks(std::chrono::seconds(2));
        ChildProcesses::shared().endAll(ManagedCLIProcess::killDelay);
        return exitCode;
    }

    Request request;
    try {
        request = readRequest(parser, settings);
    } catch (const UsageError& error) {
        writeOut(stderr, QStringLiteral("brindlet-cli: %1\n").arg(error.message));
        return exitUsage;
    }
    const QString prompt = assembled(request);
    if (command == QLatin1String("prompt")) {
        writeOut(stdout, prompt);
        return 0;
    }
    if (parser.isSet(QStringLiteral("show-prompt")))
        writeOut(stderr, QStringLiteral("Prompt sent to %1:\n%2\n\n").arg(displayName(provider), prompt));
    stopOnSignals(&exitCode);
    spawn(runGenerate(&providers, prompt, provider, configuration, &exitCode));
    QCoreApplication::exec();
    // A used Claude worker is replaced in the background; nothing new should start on the way out,
    // and nothing started may outlive the command: workers, their children, their folders.
    finishAllTasks(std::chrono::seconds(2));
    ChildProcesses::shared().endAll(ManagedCLIProcess::killDelay);
    return exitCode;
}
