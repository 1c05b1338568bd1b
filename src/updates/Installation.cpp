#include "Installation.h"

#include "UpdateError.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

namespace brindlet {

Installation Installation::of(const QString& executablePath, const QString& home)
{
    const QString root
        = QFileInfo(QFileInfo(executablePath).absolutePath() + QStringLiteral("/..")).canonicalFilePath();
    const QString homeRoot = QFileInfo(home).canonicalFilePath();
    const QFileInfo parent(QFileInfo(root).absolutePath());
    const bool inHome = !homeRoot.isEmpty() && homeRoot != u"/" && root.startsWith(homeRoot + u'/');
    const bool ownFolder = QFileInfo::exists(root + u'/' + QLatin1String(markerName));
    return { root, inHome && ownFolder && QFileInfo(root).isWritable() && parent.isWritable() };
}

void installArchive(const Installation& installation, const QByteArray& archive)
{
    if (!installation.userLocal)
        throw UpdateError(QStringLiteral("This installation is managed by the system and cannot be replaced."));
    // Beside the root, so that the swap is two renames on one file system.
    const QFileInfo root(installation.root);
    QTemporaryDir staging(root.absolutePath() + u'/' + root.fileName() + QStringLiteral(".update-XXXXXX"));
    if (!staging.isValid())
        throw UpdateError(QStringLiteral("There is no room beside the installation to unpack the update."));
    QProcess tar;
    tar.start(QStringLiteral("tar"),
        { QStringLiteral("-xz"), QStringLiteral("--no-same-owner"), QStringLiteral("-C"), staging.path() });
    tar.write(archive);
    tar.closeWriteChannel();
    if (!tar.waitForFinished(120'000) || tar.exitStatus() != QProcess::NormalExit || tar.exitCode() != 0)
        throw UpdateError(QStringLiteral("The update archive could not be unpacked."));
    if (!QFileInfo(staging.path() + QStringLiteral("/bin/brindlet")).isExecutable()
        || !QFileInfo::exists(staging.path() + u'/' + QLatin1String(Installation::markerName)))
        throw UpdateError(QStringLiteral("The update archive does not hold a Brindlet release."));

    const QString previous = staging.path() + QStringLiteral(".previous");
    QDir dir;
    if (!dir.rename(installation.root, previous))
        throw UpdateError(QStringLiteral("The installation could not be moved aside."));
    if (!dir.rename(staging.path(), installation.root)) {
        dir.rename(previous, installation.root);
        throw UpdateError(QStringLiteral("The new version could not be put in place."));
    }
    staging.setAutoRemove(false);
    QDir(previous).removeRecursively();
}

} // namespace brindlet
