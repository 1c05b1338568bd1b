#include "JsonFileDefaultsStore.h"

#include "domain/JsonWriter.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QSaveFile>
#include <QThread>

#include <cmath>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

Q_LOGGING_CATEGORY(lcDefaults, "com.brindlet.native.Defaults")

namespace brindlet {

namespace {

// One entry as compact JSON: an object whose one member names the type.
QByteArray encodeValue(const DefaultsValue& value)
{
    JsonWriter writer;
    writer.beginObject();
    std::visit(
        [&writer](const auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, QString>)
                writer.key("string").string(v);
            else if constexpr (std::is_same_v<T, bool>)
                writer.key("bool").boolean(v);
            else if constexpr (std::is_same_v<T, qint64>)
                writer.key("integer").integer(v);
            else if constexpr (std::is_same_v<T, double>)
                writer.key("double").number(v);
            else
                writer.key("data").string(QString::fromLatin1(v.toBase64()));
        },
        value);
    writer.endObject();
    return writer.take();
}

FileStamp stampOf(const QString& path)
{
    struct stat info { };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    return { true, info.st_size, info.st_mtim.tv_sec * 1'000'000'000LL + info.st_mtim.tv_nsec, info.st_ino };
}

// An entry is an object with exactly one member that names its type.
std::optional<DefaultsValue> decodeValue(const QJsonValue& entry)
{
    const QJsonObject object = entry.toObject();
    if (!entry.isObject() || object.size() != 1)
        return std::nullopt;
    const QString type = object.begin().key();
    const QJsonValue value = object.begin().value();
    if (type == QLatin1String("string") && value.isString())
        return value.toString();
    if (type == QLatin1String("bool") && value.isBool())
        return value.toBool();
    if (type == QLatin1String("integer") && value.isDouble()) {
        const double d = value.toDouble();
        if (std::trunc(d) != d || std::abs(d) > 9.0e15)
            return std::nullopt;
        return value.toInteger();
    }
    if (type == QLatin1String("double") && value.isDouble())
        return value.toDouble();
    if (type == QLatin1String("data") && value.isString()) {
        const auto decoded
            = QByteArray::fromBase64Encoding(value.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        if (decoded)
            return *decoded;
    }
    return std::nullopt;
}

// An advisory lock on a file beside the defaults. The kernel drops it when its holder ends, so a
// crashed instance never leaves a stale lock behind, and taking it writes nothing to disk.
class FileLock {
public:
    explicit FileLock(const QString& path)
        : fd_(::open(QFile::encodeName(path + QStringLiteral(".lock")).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        QDeadlineTimer deadline(2000);
        while (fd_ >= 0 && ::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK || deadline.hasExpired()) {
                qCWarning(lcDefaults) << "Writing the defaults without the lock; another instance holds it:" << path;
                return;
            }
            QThread::msleep(5);
        }
    }
    ~FileLock()
    {
        if (fd_ >= 0)
            ::close(fd_); // closing releases the lock
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    int fd_;
};

} // namespace

QString JsonFileDefaultsStore::standardPath()
{
    QString base = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (base.isEmpty() || !QDir::isAbsolutePath(base))
        base = QDir::homePath() + QStringLiteral("/.config");
    return base + QStringLiteral("/Brindlet/defaults.json");
}

JsonFileDefaultsStore::JsonFileDefaultsStore(QString path)
    : path_(std::move(path))
{
    QDir().mkpath(QFileInfo(path_).absolutePath());
    FileLock lock(path_);
    load(values_);
}

bool JsonFileDefaultsStore::refresh()
{
    // Looked at before locking: taking the lock touches the folder, which those who watch it see.
    const FileStamp stamp = stampOf(path_);
    if (!stamp.exists || stamp == lastSeen_)
        return false;
    FileLock lock(path_);
    QHash<QString, DefaultsValue> values;
    if (!load(values))
        return false;
    values_ = values;
    return true;
}

std::optional<DefaultsValue> JsonFileDefaultsStore::objectForKey(const QString& key) const
{
    const auto it = values_.constFind(key);
    if (it == values_.constEnd())
        return std::nullopt;
    return *it;
}

bool JsonFileDefaultsStore::load(QHash<QString, DefaultsValue>& values)
{
    // Taken before the read: a file replaced meanwhile then differs from it and is read again.
    lastSeen_ = stampOf(path_);
    QFile file(path_);
    if (!file.exists())
        return false;
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcDefaults) << "Cannot read the defaults file" << path_ << ":" << file.errorString();
        return false;
    }
    const QByteArray content = file.readAll();
    file.close();
    QJsonParseError error {};
    const QJsonDocument document = QJsonDocument::fromJson(content, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        setAside(content, false,
            error.error != QJsonParseError::NoError ? error.errorString() : QStringLiteral("not a JSON object"));
        return false;
    }
    values.clear();
    const QJsonObject object = document.object();
    int unreadable = 0;
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (auto value = decodeValue(it.value()))
            values.insert(it.key(), *value);
        else
            ++unreadable;
    }
    // Keep what could be read in place; the next write drops the rest, so keep a copy aside.
    if (unreadable > 0)
        setAside(content, true, QStringLiteral("%1 unreadable entries").arg(unreadable));
    return true;
}

void JsonFileDefaultsStore::setAside(const QByteArray& content, bool keepOriginal, const QString& reason)
{
    if (keepOriginal && !setAsidePath_.isEmpty() && content == setAsideContent_)
        return;
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss.zzz'Z'"));
    const QString aside = path_ + QStringLiteral(".broken-") + stamp;
    const bool done = keepOriginal ? QFile::copy(path_, aside) : QFile::rename(path_, aside);
    if (done) {
        setAsidePath_ = aside;
        setAsideContent_ = content;
    }
    const QString where = done ? QStringLiteral("it was kept as ") + aside : QStringLiteral("it could not be moved");
    qCWarning(lcDefaults).noquote() << "The defaults file" << path_
                                    << QStringLiteral("could not be read (") + reason + u");" << where
                                    << "and the program goes on with the values it could read.";
}

void JsonFileDefaultsStore::apply(const QList<DefaultsChange>& changes)
{
    FileLock lock(path_);
    // What other instances wrote since is the base; without a readable file, what this one has.
    // A file that is still the one this store last read or wrote needs no second reading.
    QHash<QString, DefaultsValue> merged;
    const FileStamp stamp = stampOf(path_);
    const bool unchanged = stamp.exists && stamp == lastSeen_;
    if (unchanged || !load(merged))
        merged = values_;
    for (const auto& [key, value] : changes) {
        if (value)
            merged.insert(key, *value);
        else
            merged.remove(key);
    }
    values_ = merged;

    QSaveFile file(path_);
    if (!file.open(QIODevice::WriteOnly) || file.write(serialize(values_, &encoded_)) < 0 || !file.commit()) {
        qCWarning(lcDefaults) << "Cannot write the defaults file" << path_ << ":" << file.errorString();
        lastSeen_ = {};
        return;
    }
    lastSeen_ = stampOf(path_);
}

QByteArray JsonFileDefaultsStore::serialize(const QHash<QString, DefaultsValue>& values, EncodedEntries* cache)
{
    EncodedEntries local;
    EncodedEntries& encoded = cache ? *cache : local;
    QStringList keys = values.keys();
    keys.sort();
    QByteArray out("{\n");
    for (const QString& key : keys) {
        const DefaultsValue& value = values[key];
        // Big blobs (presets, queued events) rarely change: keep each entry's text until they do.
        auto it = encoded.find(key);
        if (it == encoded.end() || it->first != value)
            it = encoded.insert(key, { value, encodeValue(value) });
        out += "    ";
        JsonWriter::appendString(out, key);
        // Appended piece by piece: a builder expression copies a blob byte by byte.
        out += ": ";
        out += it->second;
        out += key == keys.last() ? "\n" : ",\n";
    }
    for (auto it = encoded.begin(); it != encoded.end();)
        it = values.contains(it.key()) ? std::next(it) : encoded.erase(it);
    return out + "}\n";
}

} // namespace brindlet
