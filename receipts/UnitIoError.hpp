#pragma once

// A failure of the machine rather than of the caller's settings: the emulated unit's folder or
// event log cannot be made, or its address cannot be bound. The C API returns it as
// VANTO_ERROR_IO and the Python package raises it as OSError.

#include <stdexcept>
#include <string>

namespace vantoreceipts {

class UnitIoError : public std::runtime_error {
  public:
    explicit UnitIoError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace vantoreceipts
