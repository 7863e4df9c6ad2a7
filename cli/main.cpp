#include "cli/Cli.hpp"

int main(int argc, char** argv) {
    return vantocli::Cli::run(argc, argv);
}
