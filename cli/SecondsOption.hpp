#pragma once

// The check every option of the command that takes a time in seconds shares: a plain decimal
// number above zero with a ceiling, so that a typo is caught instead of waiting for ever.

#include <CLI/CLI.hpp>

namespace vantocli {

class SecondsOption {
  public:
    // Numbers above 0 and at most `most` seconds.
    static CLI::Validator validator(double most);
};

}  // namespace vantocli
