#pragma once

#include <cstdint>

namespace lumora::platform {

/// The raw location authorization a host chose with
/// lumora::setLocationAuthorization(); authorizedAlways (3) until it does.
std::int64_t configuredLocationAuthorization();

}  // namespace lumora::platform
