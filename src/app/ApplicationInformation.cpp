#include "ApplicationInformation.h"

namespace brindlet {

QVariantMap applicationInformation()
{
    QVariantMap information {
        { QStringLiteral("CFBundleShortVersionString"), QStringLiteral(BRINDLET_VERSION) },
        { QStringLiteral("CFBundleVersion"), QStringLiteral(BRINDLET_BUILD) },
    };
    const std::pair<const char*, const char*> deployment[] = {
        { "BrindletAnalyticsURL", BRINDLET_ANALYTICS_URL },
        { "SUFeedURL", BRINDLET_UPDATE_FEED_URL },
        { "SUPublicEDKey", BRINDLET_UPDATE_PUBLIC_KEY },
    };
    for (const auto& [key, value] : deployment) {
        if (*value)
            information.insert(QLatin1String(key), QString::fromUtf8(value));
    }
    return information;
}

} // namespace brindlet
