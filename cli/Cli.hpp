#pragma once

// The `vanto` command line: parses the arguments, runs one subcommand, and turns every failure
// into one line on standard error and a non-zero exit code.

namespace vantocli {

class Cli {
  public:
    static int run(int argc, char** argv);
};

}  // namespace vantocli
