#include "JsonFileDefaultsStore.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QLoggingCategory>
#include <QSaveFile>

#include <cmath>

Q_LOGGING_CATEGORY(lcDefaults, "com.brindlet.native.Defaults")

namespace brindlet {

namespace {

QJsonObject encodeValue(const DefaultsValue& value)
{
    return std::visit(
        [](const auto& v) -> QJsonObject {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, QString>)
                return { { QStringLiteral("string"), v } };
            else if constexpr (std::is_same_v<T, bool>)
                return { { QStringLiteral("bool"), v } };
            else if constexpr (std::is_same_v<T, qint64>)
                return { { QStringLiteral("integer"), v } };
            else if constexpr (std::is_same_v<T, double>)
                return { { QStringLiteral("double"), v } };
            else
                return { { QStringLiteral("data"), QString::fromLatin1(v.toBase64()) } };
        },
        value);
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

class FileLock {
public:
    explicit FileLock(const QString& path)
        : lock_(path + QStringLiteral(".lock"))
    {
        lock_.setStaleLockTime(5000);
        if (!lock_.tryLock(2000))
            qCWarning(lcDefaults) << "Writing the defaults without the lock; another instance holds it:" << path;
    }

private:
    QLockFile lock_;
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

std::optional<DefaultsValue> JsonFileDefaultsStore::objectForKey(const QString& key) const
{
    const auto it = values_.constFind(key);
    if (it == values_.constEnd())
        return std::nullopt;
    return *it;
}

bool JsonFileDefaultsStore::load(QHash<QString, DefaultsValue>& values)
{
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
    qCWarning(lcDefaults).noquote() << "The defaults file" << path_ << "could not be read (" + reason + ");"
                                    << (done ? "it was kept as " + aside : QStringLiteral("it could not be moved"))
                                    << "and the program goes on with the values it could read.";
}

void JsonFileDefaultsStore::apply(const QList<DefaultsChange>& changes)
{
    FileLock lock(path_);
    // What other instances wrote since is the base; without a readable file, what this one has.
    QHash<QString, DefaultsValue> merged;
    if (!load(merged))
        merged = values_;
    for (const auto& [key, value] : changes) {
        if (value)
            merged.insert(key, *value);
        else
            merged.remove(key);
    }
    values_ = merged;

    QSaveFile file(path_);
    if (!file.open(QIODevice::WriteOnly) || file.write(serialize(values_)) < 0 || !file.commit())
        qCWarning(lcDefaults) << "Cannot write the defaults file" << path_ << ":" << file.errorString();
}

QByteArray JsonFileDefaultsStore::serialize(const QHash<QString, DefaultsValue>& values)
{
    QJsonObject object;
    for (auto it = values.constBegin(); it != values.constEnd(); ++it)
        object.insert(it.key(), encodeValue(it.value()));
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

} // namespace brindlet
