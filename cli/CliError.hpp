#pragma once

// A failure the command reports as one line on standard error, with the exit code that tells
// scripts what kind of failure it was.

#include <stdexcept>
#include <string>

namespace vantocli {

class CliError : public std::runtime_error {
  public:
    // Exit codes: 1 the unit or printer refused, 2 bad input, 3 the unit cannot be reached.
    static constexpr int FAILED = 1;
    static constexpr int BAD_INPUT = 2;
    static constexpr int UNREACHABLE = 3;

    CliError(int exitCode, const std::string& message)
        : std::runtime_error(message), mExitCode(exitCode) {}

    int exitCode() const noexcept { return mExitCode; }

  private:
    int mExitCode;
};

}  // namespace vantocli
