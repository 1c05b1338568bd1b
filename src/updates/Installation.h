#pragma once

#include <QByteArray>
#include <QDir>
#include <QString>

namespace brindlet {

// Where the running Brindlet lives, and whether an update may replace it: only a release the user
// unpacked into a folder of its own in their home is. The release marks that folder as Brindlet's
// alone (markerName at its root), so that a shared prefix such as ~/.local is never swapped away.
// An installation from the system's package manager belongs to that manager and is never touched.
struct Installation {
    static constexpr const char* markerName = "brindlet.installation";
    QString root; // the prefix, with bin/brindlet inside
    bool userLocal = false;

    // The installation of the executable at executablePath (root is the folder above its bin/).
    static Installation of(const QString& executablePath, const QString& home = QDir::homePath());
    QString executable() const { return root + QStringLiteral("/bin/brindlet"); }
};

// Unpacks a .tar.gz archive of a whole installation beside root, checks that it holds
// bin/brindlet and the marker, and swaps it in; the old tree is removed only once the new one is in place. On
// any failure the installation is left as it was, and an UpdateError says why.
void installArchive(const Installation& installation, const QByteArray& archive);

} // namespace brindlet
