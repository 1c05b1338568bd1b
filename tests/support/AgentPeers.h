#pragma once

// The fake agent program installed under the agent programs' names in a temporary folder that
// is put first on PATH, with a script to play and a folder where each run records itself.

#include "providers/CLIExecutableResolver.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <csignal>

namespace brindlet::test {

class AgentPeers {
public:
    explicit AgentPeers(const QStringList& names = { QStringLiteral("claude") })
    {
        QDir(dir_.path()).mkpath(QStringLiteral("bin"));
        QDir(dir_.path()).mkpath(QStringLiteral("records"));
        for (const QString& name : names)
            QFile::link(QStringLiteral(FAKE_AGENT_PATH), bin() + QLatin1Char('/') + name);
        savedPath_ = qgetenv("PATH");
        qputenv("PATH", bin().toUtf8() + ':' + savedPath_);
        qputenv("FAKE_AGENT_SCRIPT", scriptPath().toUtf8());
        qputenv("FAKE_AGENT_RECORD_DIR", records().toUtf8());
        CLIExecutableResolver::clearSharedCache();
        script({});
    }
    ~AgentPeers()
    {
        qputenv("PATH", savedPath_);
        qunsetenv("FAKE_AGENT_SCRIPT");
        qunsetenv("FAKE_AGENT_RECORD_DIR");
        CLIExecutableResolver::clearSharedCache();
    }

    QString bin() const { return dir_.filePath(QStringLiteral("bin")); }
    QString records() const { return dir_.filePath(QStringLiteral("records")); }
    QString scriptPath() const { return dir_.filePath(QStringLiteral("script")); }

    void script(const QStringList& lines) const
    {
        QFile file(scriptPath());
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        file.write(lines.join(QLatin1Char('\n')).toUtf8() + '\n');
    }

    // Every recorded start, oldest first: in process id order, which, unlike file times, never
    // ties between two quick starts.
    QList<QJsonObject> starts() const
    {
        QList<QJsonObject> result;
        for (const QFileInfo& info : QDir(records()).entryInfoList({ QStringLiteral("*.start") }, QDir::Files)) {
            QFile file(info.filePath());
            file.open(QIODevice::ReadOnly);
            QJsonObject object = QJsonDocument::fromJson(file.readAll()).object();
            object.insert(QStringLiteral("pid"), info.baseName().toLongLong());
            result.append(object);
        }
        std::sort(result.begin(), result.end(), [](const QJsonObject& a, const QJsonObject& b) {
            return a[QStringLiteral("pid")].toInteger() < b[QStringLiteral("pid")].toInteger();
        });
        return result;
    }

    QByteArray input(qint64 pid) const
    {
        QFile file(records() + QStringLiteral("/%1.stdin").arg(pid));
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }

    // Every process the peers started: the programs and the grandchildren they forked.
    QList<qint64> processIDs() const
    {
        QList<qint64> pids;
        for (const QFileInfo& info :
            QDir(records()).entryInfoList({ QStringLiteral("*.start"), QStringLiteral("*.grandchild") }, QDir::Files))
            pids.append(info.baseName().toLongLong());
        return pids;
    }

    // A process that no longer runs: gone, or dead and waiting for its parent to reap it.
    static bool isGone(qint64 pid)
    {
        if (pid > 0 && ::kill(pid_t(pid), 0) != 0)
            return true;
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly))
            return true;
        const QByteArray fields = stat.readAll();
        return fields.mid(fields.lastIndexOf(')') + 2, 1) == "Z";
    }

private:
    QTemporaryDir dir_;
    QByteArray savedPath_;
};

} // namespace brindlet::test
