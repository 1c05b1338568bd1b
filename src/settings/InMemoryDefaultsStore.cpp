#include "InMemoryDefaultsStore.h"

namespace brindlet {

std::optional<DefaultsValue> InMemoryDefaultsStore::objectForKey(const QString& key) const
{
    const auto it = values_.constFind(key);
    if (it == values_.constEnd())
        return std::nullopt;
    return *it;
}

void InMemoryDefaultsStore::apply(const QList<DefaultsChange>& changes)
{
    ++writes_;
    for (const auto& [key, value] : changes) {
        if (value)
            values_.insert(key, *value);
        else
            values_.remove(key);
    }
}

} // namespace brindlet
