#pragma once

#include "DefaultsStoring.h"

#include <QHash>
#include <QString>

namespace brindlet {

// What identifies one version of a file: replacing it atomically gives it a new inode.
struct FileStamp {
    bool exists = false;
    qint64 size = 0;
    qint64 modifiedNs = 0;
    quint64 inode = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

// The per-user defaults store as one JSON file of typed values, rewritten atomically on every
// write. Several objects in this process share one store; several running instances share the
// file: each write happens under a lock file and re-reads the file first, so that one instance
// never drops a key another has written since (the lock also covers moving a broken file aside).
class JsonFileDefaultsStore final : public DefaultsStoring {
public:
    // $XDG_CONFIG_HOME/Brindlet/defaults.json, or ~/.config/Brindlet/defaults.json.
    static QString standardPath();

    explicit JsonFileDefaultsStore(QString path = standardPath());

    std::optional<DefaultsValue> objectForKey(const QString& key) const override;
    void apply(const QList<DefaultsChange>& changes) override;
    bool refresh() override;

    const QString& path() const { return path_; }
    // Where the last broken file was put aside, if one was.
    const QString& setAsidePath() const { return setAsidePath_; }

    // Each entry's value and its text, kept between writes.
    using EncodedEntries = QHash<QString, std::pair<DefaultsValue, QByteArray>>;
    // The file's text for these values, one entry per line in key order; exposed for tests that
    // write a file by hand. With a cache, entries whose value is unchanged are not encoded again.
    static QByteArray serialize(const QHash<QString, DefaultsValue>& values, EncodedEntries* cache = nullptr);

private:
    // Reads the file into values, keeping every readable entry; a broken file is put aside.
    // Returns false when there was nothing readable to take (no file, or unreadable as a whole).
    bool load(QHash<QString, DefaultsValue>& values);
    void setAside(const QByteArray& content, bool keepOriginal, const QString& reason);

    QString path_;
    QString setAsidePath_;
    QByteArray setAsideContent_; // so the same damage is kept aside once, not at every write
    QHash<QString, DefaultsValue> values_;
    EncodedEntries encoded_;
    FileStamp lastSeen_; // the file as this store last read or wrote it
};

} // namespace brindlet
