#include "vantoconnect/resilient/ResilientOptions.hpp"

#include <algorithm>

namespace vantoconnect {
namespace {

std::chrono::milliseconds withinADay(std::chrono::milliseconds value) {
    return std::clamp(value, std::chrono::milliseconds(0),
                      std::chrono::milliseconds(std::chrono::hours(24)));
}

}  // namespace

ResilientOptions ResilientOptions::bounded() const {
    ResilientOptions safe = *this;
    safe.connectTimeout = withinADay(connectTimeout);
    safe.readTimeout = withinADay(readTimeout);
    safe.pollInterval = withinADay(pollInterval);
    safe.waitLimit = withinADay(waitLimit);
    safe.maxUnavailablePolls = std::max<std::int64_t>(0, maxUnavailablePolls);
    return safe;
}

}  // namespace vantoconnect
