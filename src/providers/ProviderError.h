#pragma once

#include "domain/DescribedError.h"

#include <QString>

namespace brindlet {

// The failure type of the provider layer; each case carries its sentence.
class ProviderError : public DescribedError {
public:
    enum class Kind { cliNotFound, unavailable, invalidURL, emptyResponse, outputTooLarge, timedOut };

    static ProviderError cliNotFound(QString executable) { return { Kind::cliNotFound, std::move(executable) }; }
    static ProviderError unavailable(QString message) { return { Kind::unavailable, std::move(message) }; }
    static ProviderError invalidURL() { return { Kind::invalidURL, {} }; }
    static ProviderError emptyResponse() { return { Kind::emptyResponse, {} }; }
    static ProviderError outputTooLarge() { return { Kind::outputTooLarge, {} }; }
    static ProviderError timedOut() { return { Kind::timedOut, {} }; }

    Kind kind() const { return kind_; }
    const QString& payload() const { return payload_; }
    QString description() const override;

private:
    ProviderError(Kind kind, QString payload)
        : kind_(kind)
        , payload_(std::move(payload))
    {
    }
    Kind kind_;
    QString payload_;
};

} // namespace brindlet
