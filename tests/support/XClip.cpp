#include "XClip.h"

#include "EventLoop.h"

#include <QProcess>

namespace brindlet::test {

std::optional<QByteArray> readClipboardAs(const QString& type)
{
    QProcess xclip;
    xclip.start(QStringLiteral("xclip"),
        { QStringLiteral("-o"), QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-t"),
            type });
    runUntil([&] { return xclip.state() == QProcess::NotRunning; }, std::chrono::seconds(5));
    if (xclip.exitStatus() != QProcess::NormalExit || xclip.exitCode() != 0)
        return std::nullopt;
    return xclip.readAllStandardOutput();
}

void writeClipboardAs(const QString& type, const QByteArray& bytes)
{
    QProcess xclip;
    xclip.start(QStringLiteral("xclip"),
        { QStringLiteral("-i"), QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-t"),
            type });
    xclip.write(bytes);
    xclip.closeWriteChannel();
    xclip.waitForFinished(5000); // it leaves a child behind that serves the selection
}

} // namespace brindlet::test
