#include "DesktopCommands.h"

#include "core/CommandRules.h"
#include "domain/DescribedError.h"
#include "domain/JsonWriter.h"
#include "domain/Preset.h"
#include "domain/Prompt.h"
#include "platform/linux/LinuxDesktop.h"
#include "selection/SelectionService.h"
#include "tasks/Runtime.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstdio>

namespace brindlet {

namespace {

constexpr int exitFailure = 1;

void writeLine(FILE* stream, const QString& text)
{
    const QByteArray bytes = (text + QLatin1Char('\n')).toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

void fail(int* exitCode, const QString& message)
{
    writeLine(stderr, QStringLiteral("brindlet-cli: ") + message);
    *exitCode = exitFailure;
}

QByteArray captureJson(const SelectionSnapshot& snapshot)
{
    JsonWriter json;
    json.beginObject().key("text");
    snapshot.text ? json.string(*snapshot.text) : json.null();
    json.key("range");
    if (const auto range = snapshot.target ? snapshot.target->originalRange : std::nullopt)
        json.beginObject().key("location").integer(range->location).key("length").integer(range->length).endObject();
    else
        json.null();
    json.key("processID").integer(snapshot.target ? snapshot.target->processID : 0);
    json.key("appName").string(snapshot.appName).key("bounds");
    if (snapshot.bounds) {
        const Rect& r = *snapshot.bounds;
        json.beginObject().key("x").number(r.x).key("y").number(r.y);
        json.key("width").number(r.width).key("height").number(r.height).endObject();
    } else {
        json.null();
    }
    json.key("settable").boolean(snapshot.target && snapshot.target->isSettable).endObject();
    return json.take();
}

// Delivers text and sets the exit code: 0 only when the write was proven.
Task<void> deliverAndReport(SelectionService* selection, QString text, SelectionSnapshot snapshot,
    DeliveryPreference preference, QString done, int* exitCode)
{
    try {
        const QString status = co_await selection->deliver(text, snapshot, preference);
        writeLine(stdout, done.isEmpty() ? status : done);
        *exitCode = 0;
    } catch (const CancellationError&) {
        // stopped by a signal, which set the exit code
    } catch (...) {
        fail(exitCode, describe(std::current_exception()));
    }
}

Task<void> fix(SelectionService* selection, DesktopCommand command, SelectionSnapshot snapshot, int* exitCode)
{
    const QString source = *snapshot.text;
    const QString prompt = assemblePrompt(QString(), Preset::builtIn(QStringLiteral("Fix Writing")), source);
    QString fixed;
    try {
        fixed = co_await command.generate(prompt);
    } catch (const CancellationError&) {
        co_return;
    } catch (...) {
        command.reportGenerationFailure(std::current_exception());
        *exitCode = exitFailure;
        QCoreApplication::exit(*exitCode);
        co_return;
    }
    if (fixChangesNothing(source, fixed)) {
        writeLine(stdout, QStringLiteral("Already looks good"));
        *exitCode = 0;
    } else {
        co_await deliverAndReport(selection, fixed, snapshot, DeliveryPreference::replace,
            QStringLiteral("Fixed in ") + snapshot.appName, exitCode);
    }
    QCoreApplication::exit(*exitCode);
}

Task<void> replace(SelectionService* selection, QString text, SelectionSnapshot snapshot, int* exitCode)
{
    co_await deliverAndReport(selection, text, snapshot, DeliveryPreference::smart, QString(), exitCode);
    QCoreApplication::exit(*exitCode);
}

} // namespace

void runDesktopCommand(const DesktopCommand& command, int* exitCode)
{
    // The steps of a delivery are the application's log; a command reports only its outcome.
    QLoggingCategory::setFilterRules(QStringLiteral("com.brindlet.native.*.info=false"));
    LinuxDesktop desktop;
    if (const QString problem = desktop.problem(); !problem.isEmpty())
        return fail(exitCode, problem);
    if (!desktop.accessibility().isProcessTrusted()) {
        desktop.accessibility().isProcessTrustedWithPrompt();
        writeLine(stderr,
            QStringLiteral("Accessibility was off and is now switched on. Applications started before now (Qt "
                           "applications in particular) must be restarted before Brindlet can read their text."));
    }
    SelectionService selection({ &desktop.accessibility(), &desktop.x11(), &desktop.x11(), &desktop.log(),
        &desktop.pasteboard(), &desktop.x11() });

    const auto snapshot = selection.capture(true);
    if (!snapshot)
        return fail(exitCode, QStringLiteral("No selection or cursor was found in the focused application."));
    switch (command.kind) {
    case DesktopCommand::Kind::capture:
        writeLine(stdout, QString::fromUtf8(captureJson(*snapshot)));
        *exitCode = 0;
        return;
    case DesktopCommand::Kind::replace: spawn(replace(&selection, command.replacement, *snapshot, exitCode)); break;
    case DesktopCommand::Kind::fix:
        if (!snapshot->hasText())
            return fail(exitCode, QStringLiteral("Select text first"));
        if (!snapshot->target || !snapshot->target->isSettable)
            return fail(exitCode, QStringLiteral("This selection cannot be replaced."));
        spawn(fix(&selection, command, *snapshot, exitCode));
        break;
    }
    QCoreApplication::exec(); // until the command's task or a stop signal ends it
}

} // namespace brindlet
