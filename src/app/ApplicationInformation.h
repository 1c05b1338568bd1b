#pragma once

#include <QVariantMap>

namespace brindlet {

// What this build says of itself, under the information keys the program reads: its version
// and build, and the deployment data that turns on analytics delivery and updates. A build
// made without that data runs with neither.
QVariantMap applicationInformation();

} // namespace brindlet
