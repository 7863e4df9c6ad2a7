#pragma once

// A failure the command reports as one line on standard error, with the exit code that tells
// scripts what kind of failure it was.

#include <stdexcept>
#include <string>

namespace vantocli {

class CliError : public std::runtime_error {
  public:
    // The unit or its printer refused, or a receipt was not fully delivered.
    static constexpr int FAILED = 1;
    // Bad arguments or a receipt file the command will not send.
    static constexpr int BAD_INPUT = 2;
    // The unit cannot be reached, closed the connection without answering, or did not answer
    // within --timeout.
    static constexpr int UNREACHABLE = 3;
    // The library stopped the process on one of its own threads for a reason the command did
    // not foresee: a fault of ours, never the user's.
    static constexpr int INTERNAL = 70;

    CliError(int exitCode, const std::string& message)
        : std::runtime_error(message), mExitCode(exitCode) {}

    int exitCode() const noexcept { return mExitCode; }

  private:
    int mExitCode;
};

}  // namespace vantocli
