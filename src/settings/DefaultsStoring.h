#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>
#include <utility>
#include <variant>

namespace brindlet {

// A typed value of the per-user defaults store. The type survives a restart, so a stored
// false, an absent key and a Boolean key that holds a string stay distinct.
using DefaultsValue = std::variant<QString, bool, qint64, double, QByteArray>;

// One key and its new value; nothing removes the key.
using DefaultsChange = std::pair<QString, std::optional<DefaultsValue>>;

// The per-user defaults store, shared by settings and analytics.
class DefaultsStoring {
public:
    virtual ~DefaultsStoring() = default;

    virtual std::optional<DefaultsValue> objectForKey(const QString& key) const = 0;
    // Writes all changes together, in order; a file-backed store rewrites itself once.
    virtual void apply(const QList<DefaultsChange>& changes) = 0;
    // Takes in what another process wrote since; true when anything was read again.
    virtual bool refresh() { return false; }

    // A string value, or nothing when absent or of another type.
    std::optional<QString> stringForKey(const QString& key) const;
    // A blob value, or nothing when absent or of another type.
    std::optional<QByteArray> dataForKey(const QString& key) const;
    void setObject(const std::optional<DefaultsValue>& value, const QString& key) { apply({ { key, value } }); }
    void setBool(bool value, const QString& key) { apply({ { key, DefaultsValue(value) } }); }
};

// The checked conversion to a Boolean: a Boolean, or the integers 0 and 1; anything else,
// a string included, does not convert.
std::optional<bool> booleanValue(const std::optional<DefaultsValue>& value);

} // namespace brindlet
