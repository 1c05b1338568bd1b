// Guarded delivery back into the source application.

#include "SelectionService.h"

#include "DescribedError.h"

namespace brindlet {

Task<QString> SelectionService::deliver(QString, SelectionSnapshot, DeliveryPreference)
{
    throw PlatformError(QStringLiteral("Delivery into other applications is not available yet."));
    co_return QString();
}

} // namespace brindlet
