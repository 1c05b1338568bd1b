#include "DefaultsStoring.h"

namespace brindlet {

std::optional<QString> DefaultsStoring::stringForKey(const QString& key) const
{
    const auto value = objectForKey(key);
    if (value && std::holds_alternative<QString>(*value))
        return std::get<QString>(*value);
    return std::nullopt;
}

std::optional<QByteArray> DefaultsStoring::dataForKey(const QString& key) const
{
    const auto value = objectForKey(key);
    if (value && std::holds_alternative<QByteArray>(*value))
        return std::get<QByteArray>(*value);
    return std::nullopt;
}

std::optional<bool> booleanValue(const std::optional<DefaultsValue>& value)
{
    if (!value)
        return std::nullopt;
    if (const bool* b = std::get_if<bool>(&*value))
        return *b;
    if (const qint64* i = std::get_if<qint64>(&*value); i && (*i == 0 || *i == 1))
        return *i == 1;
    return std::nullopt;
}

} // namespace brindlet
