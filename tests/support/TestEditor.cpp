#include "TestEditor.h"

#include "EventLoop.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <csignal>
#include <sys/prctl.h>

namespace brindlet::test {

namespace {

QString kindArgument(TestEditor::Kind kind)
{
    switch (kind) {
    case TestEditor::Kind::gtkEntry: return QStringLiteral("entry");
    case TestEditor::Kind::gtkView: return QStringLiteral("view");
    case TestEditor::Kind::gtkEntryRefusingDirectWrites: return QStringLiteral("entry-refusing");
    case TestEditor::Kind::qtLine: return QStringLiteral("line");
    case TestEditor::Kind::qtLineRefusingDirectWrites: return QStringLiteral("line-refusing");
    case TestEditor::Kind::qtText: return QStringLiteral("text");
    case TestEditor::Kind::qtQuick: return QStringLiteral("qml");
    }
    return {};
}

bool isGtk(TestEditor::Kind kind)
{
    return kind == TestEditor::Kind::gtkEntry || kind == TestEditor::Kind::gtkView
        || kind == TestEditor::Kind::gtkEntryRefusingDirectWrites;
}

} // namespace

TestEditor::TestEditor(Kind kind, const QString& text, std::optional<std::pair<int, int>> selection)
{
    QStringList arguments { kindArgument(kind), text };
    if (selection)
        arguments << QString::number(selection->first) << QString::number(selection->second);
    QString program = QStringLiteral(QT_EDITOR_PATH);
    if (isGtk(kind)) {
        arguments.prepend(QStringLiteral(GTK_EDITOR_PATH));
        program = QStringLiteral("/usr/bin/python3"); // Debian's, which has python3-gi
    }
    // The test itself may run offscreen; the editor is on the private desktop.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    process_.setProcessEnvironment(environment);
    process_.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QObject::connect(&process_, &QProcess::readyReadStandardOutput, [this] { readLines(); });
    process_.start(program, arguments);
}

TestEditor::~TestEditor()
{
    process_.disconnect();
    process_.kill();
    process_.waitForFinished();
}

void TestEditor::readLines()
{
    pending_ += process_.readAllStandardOutput();
    for (qsizetype end = pending_.indexOf('\n'); end >= 0; end = pending_.indexOf('\n')) {
        const QByteArray line = pending_.left(end);
        pending_.remove(0, end + 1);
        if (line == "ready") {
            ready_ = true;
            continue;
        }
        const QJsonDocument document = QJsonDocument::fromJson("[" + line + "]");
        if (document.isArray())
            texts_ << document.array().at(0).toString();
    }
}

bool TestEditor::waitUntilReady()
{
    return process_.waitForStarted() && runUntil([this] { return ready_; }, std::chrono::seconds(20));
}

bool TestEditor::waitForText(const QString& expected)
{
    return runUntil([&] { return !texts_.isEmpty() && texts_.constLast() == expected; }, std::chrono::seconds(10));
}

const QStringList& TestEditor::reportedTexts()
{
    readLines();
    return texts_;
}

} // namespace brindlet::test
