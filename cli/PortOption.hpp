#pragma once

// The check every port option of the command shares, naming the value in words a cashier's
// technician can act on.

#include <CLI/CLI.hpp>

namespace vantocli {

class PortOption {
  public:
    // Whole numbers in lowest...65535; 0 is lowest where the option means "pick a free port".
    static CLI::Validator validator(int lowest);
};

}  // namespace vantocli
