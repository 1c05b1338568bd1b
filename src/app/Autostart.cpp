#include "Autostart.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

namespace brindlet {

QString Autostart::entryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/autostart/brindlet.desktop");
}

bool Autostart::isEnabled()
{
    return QFile::exists(entryPath());
}

bool Autostart::setEnabled(bool enabled, QString* error)
{
    const QString path = entryPath();
    if (!enabled) {
        QFile entry(path);
        if (!entry.exists() || entry.remove())
            return true;
        if (error)
            *error = entry.errorString();
        return false;
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile entry(path);
    // The path is quoted, as desktop entries want it, for folders with spaces.
    QString program = QCoreApplication::applicationFilePath();
    program.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('"'), QStringLiteral("\\\""));
    const QString text = QStringLiteral("[Desktop Entry]\nType=Application\nName=Brindlet\n"
                                        "Comment=AI writing help for selected text in any application\n"
                                        "Exec=\"%1\"\nIcon=brindlet\nTerminal=false\nX-GNOME-Autostart-enabled=true\n")
                             .arg(program);
    if (entry.open(QIODevice::WriteOnly) && entry.write(text.toUtf8()) >= 0 && entry.commit())
        return true;
    if (error)
        *error = entry.errorString();
    return false;
}

} // namespace brindlet
