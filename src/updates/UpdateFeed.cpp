#include "UpdateFeed.h"

#include <QXmlStreamReader>

namespace brindlet {

namespace {

const QString sparkleNamespace = QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

} // namespace

std::optional<UpdateFeed> UpdateFeed::parse(const QByteArray& xml)
{
    QXmlStreamReader reader(xml);
    UpdateFeed feed;
    bool sawChannel = false;
    std::optional<UpdateRelease> item;
    QString version, shortVersion;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            const auto name = reader.name();
            if (name == u"channel")
                sawChannel = true;
            else if (name == u"item") {
                item.emplace();
                version.clear();
                shortVersion.clear();
            } else if (item && reader.namespaceUri() == sparkleNamespace && name == u"version")
                version = reader.readElementText().trimmed();
            else if (item && reader.namespaceUri() == sparkleNamespace && name == u"shortVersionString")
                shortVersion = reader.readElementText().trimmed();
            else if (item && name == u"enclosure") {
                const auto attributes = reader.attributes();
                item->archiveURL = QUrl(attributes.value(QLatin1String("url")).toString(), QUrl::StrictMode);
                item->length = attributes.value(QLatin1String("length")).toLongLong();
                item->signature = attributes.value(sparkleNamespace, QStringLiteral("edSignature")).toLatin1();
                if (version.isEmpty())
                    version = attributes.value(sparkleNamespace, QStringLiteral("version")).toString();
                if (shortVersion.isEmpty())
                    shortVersion = attributes.value(sparkleNamespace, QStringLiteral("shortVersionString")).toString();
            }
        } else if (reader.isEndElement() && reader.name() == u"item" && item) {
            item->displayVersion = shortVersion.isEmpty() ? version : shortVersion;
            item->version = QVersionNumber::fromString(item->displayVersion);
            if (!item->version.isNull() && item->archiveURL.isValid() && item->archiveURL.scheme() == u"https"
                && item->length > 0 && !item->signature.isEmpty())
                feed.releases.append(*item);
            item.reset();
        }
    }
    if (reader.hasError() || !sawChannel)
        return std::nullopt;
    return feed;
}

std::optional<UpdateRelease> UpdateFeed::newerThan(const QVersionNumber& current) const
{
    std::optional<UpdateRelease> newest;
    for (const UpdateRelease& release : releases) {
        if (release.version > current && (!newest || release.version > newest->version))
            newest = release;
    }
    return newest;
}

} // namespace brindlet
