#pragma once

#include "DefaultsStoring.h"

#include <QHash>
#include <QString>

namespace brindlet {

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

    const QString& path() const { return path_; }
    // Where the last broken file was put aside, if one was.
    const QString& setAsidePath() const { return setAsidePath_; }

    // The file's text for these values; exposed for benchmarks that compare with a plain write.
    static QByteArray serialize(const QHash<QString, DefaultsValue>& values);

private:
    // Reads the file into values, keeping every readable entry; a broken file is put aside.
    // Returns false when there was nothing readable to take (no file, or unreadable as a whole).
    bool load(QHash<QString, DefaultsValue>& values);
    void setAside(const QByteArray& content, bool keepOriginal, const QString& reason);

    QString path_;
    QString setAsidePath_;
    QByteArray setAsideContent_; // so the same damage is kept aside once, not at every write
    QHash<QString, DefaultsValue> values_;
};

} // namespace brindlet
