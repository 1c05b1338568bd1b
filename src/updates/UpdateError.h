#pragma once

#include "domain/DescribedError.h"

namespace brindlet {

// Why an update check or installation stopped, in words for the user.
class UpdateError : public PlatformError {
public:
    using PlatformError::PlatformError;
};

} // namespace brindlet
