#pragma once

#include "domain/DescribedError.h"

namespace brindlet {

// Why a delivery did not happen; each case carries the sentence the user reads.
class SelectionError : public DescribedError {
public:
    enum class Kind { emptyResult, targetUnavailable, targetChanged, deliveryRejected };

    explicit SelectionError(Kind kind)
        : kind_(kind)
    {
    }
    Kind kind() const { return kind_; }
    QString description() const override
    {
        switch (kind_) {
        case Kind::emptyResult: return QStringLiteral("There is no generated text to deliver.");
        case Kind::targetUnavailable:
            return QStringLiteral("The original writing surface is no longer available. Copy the result instead.");
        case Kind::targetChanged:
            return QStringLiteral("The original selection or cursor changed. Brindlet did not alter the document.");
        case Kind::deliveryRejected:
            return QStringLiteral("The source app rejected direct insertion. Copy the result instead.");
        }
        return {};
    }

private:
    Kind kind_;
};

} // namespace brindlet
