#pragma once

// A refusal of the C layer itself, with the status it returns: a NULL argument, an unknown
// code, a wait that ran out.

#include <stdexcept>
#include <string>

#include "vantoconnect/vanto.h"

namespace vantoc {

class CApiError : public std::runtime_error {
  public:
    CApiError(vanto_status status, const std::string& message)
        : std::runtime_error(message), mStatus(status) {}
    vanto_status status() const noexcept { return mStatus; }

  private:
    vanto_status mStatus;
};

}  // namespace vantoc
