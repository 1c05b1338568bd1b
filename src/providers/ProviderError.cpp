#include "ProviderError.h"

namespace brindlet {

QString ProviderError::description() const
{
    switch (kind_) {
    case Kind::cliNotFound:
        return QStringLiteral("The ") + payload_ + QStringLiteral(" CLI is not installed or could not be found.");
    case Kind::unavailable: return payload_;
    case Kind::invalidURL: return QStringLiteral("The provider address must be a valid HTTP or HTTPS URL.");
    case Kind::emptyResponse: return QStringLiteral("The provider returned an empty response.");
    case Kind::outputTooLarge: return QStringLiteral("The provider response was too large.");
    // The wording stays "two minutes" whichever limit ran out.
    case Kind::timedOut: return QStringLiteral("The provider did not respond within two minutes.");
    }
    return {};
}

} // namespace brindlet
