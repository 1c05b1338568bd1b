#pragma once

#include "DefaultsStoring.h"

#include <QHash>

namespace brindlet {

// A defaults store that lives as long as the object: for tests and for the demonstration desktop.
class InMemoryDefaultsStore final : public DefaultsStoring {
public:
    std::optional<DefaultsValue> objectForKey(const QString& key) const override;
    void apply(const QList<DefaultsChange>& changes) override;

    QStringList keys() const { return values_.keys(); }
    int writes() const { return writes_; }

private:
    QHash<QString, DefaultsValue> values_;
    int writes_ = 0;
};

} // namespace brindlet
