#pragma once

// The signed feed: an RSS channel of releases in the appcast form, each item with its version and
// an enclosure that names the archive, its length and its Ed25519 signature.

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QVersionNumber>

#include <optional>

namespace brindlet {

struct UpdateRelease {
    QVersionNumber version; // sparkle:shortVersionString, else sparkle:version
    QString displayVersion;
    QUrl archiveURL;
    qint64 length = 0;
    QByteArray signature; // base64, as published
};

struct UpdateFeed {
    QList<UpdateRelease> releases;

    // nullopt when the text is not such a feed; items without an https archive, a length or a
    // signature are left out.
    static std::optional<UpdateFeed> parse(const QByteArray& xml);
    // The newest release above current, if any.
    std::optional<UpdateRelease> newerThan(const QVersionNumber& current) const;
};

} // namespace brindlet
