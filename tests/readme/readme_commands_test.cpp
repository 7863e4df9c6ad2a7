// Every `vanto` and example command that the README or a page of docs/ shows in a shell block
// runs as written against an emulated unit on a free loopback port. The pages' own port (8080)
// is replaced by that port; a trailing "# exit N" says which exit code the command is shown to
// give. Commands that set up a machine (make, cmake, apt-get, ...) are left out and listed.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "tests/readme/Docs.hpp"
#include "tests/support/ProgramRun.hpp"
#include "tests/support/ScratchDir.hpp"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using vantoconnect::testing::runProgram;

struct Command {
    std::string text;  // as the page shows it
    std::vector<std::string> words;
    int expectedExit = 0;
};

std::vector<std::string> split(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream in(line);
    std::string word;
    while (in >> word) {
        words.push_back(word);
    }
    return words;
}

// The lines of every ```sh block, with "# exit N" markers read and other comments dropped.
std::vector<Command> shellCommands(const std::vector<docs::Block>& blocks) {
    std::vector<Command> commands;
    for (const docs::Block& block : blocks) {
        if (block.language != "sh") {
            continue;
        }
        std::istringstream in(block.body);
        std::string line;
        while (std::getline(in, line)) {
            Command command;
            const auto marker = line.find("# exit ");
            if (marker != std::string::npos) {
                command.expectedExit = std::stoi(line.substr(marker + 7));
            }
            const auto hash = line.find(" #");
            command.text = line.substr(0, line.rfind('#', 0) == 0 ? 0 : hash);
            command.text.erase(command.text.find_last_not_of(' ') + 1);
            command.words = split(command.text);
            if (!command.words.empty()) {
                commands.push_back(command);
            }
        }
    }
    return commands;
}

bool reachesUnit(const std::vector<std::string>& args) {
    static const std::vector<std::string> unitCommands = {"print", "drawer", "led", "usb",
                                                          "printer"};
    return !args.empty() &&
           std::find(unitCommands.begin(), unitCommands.end(), args[0]) != unitCommands.end();
}

TEST(Readme, EveryCommandRunsAsWritten) {
    // A command shown on two pages runs once.
    std::vector<Command> commands;
    for (const docs::Document& document : docs::all(VANTO_SOURCE_DIR)) {
        for (const Command& command : shellCommands(docs::parse(document.text).blocks)) {
            const auto same = [&](const Command& c) { return c.text == command.text; };
            if (std::none_of(commands.begin(), commands.end(), same)) {
                commands.push_back(command);
            }
        }
    }
    ASSERT_FALSE(commands.empty());

    const vantoconnect::testing::ScratchDir scratch;
    const fs::path& dir = scratch.path;
    fs::create_directory_symlink(fs::path(VANTO_SOURCE_DIR) / "examples", dir / "examples");

    vantoemu::UnitOptions options;
    options.port = 0;
    options.outDir = (dir / "unit").string();
    options.drawerCloseAfter = 0ms;
    vantoemu::EmulatedUnit unit(options);
    unit.start();
    const std::string port = std::to_string(unit.port());

    std::vector<std::string> leftOut;
    int ran = 0;
    for (const Command& command : commands) {
        const std::string& first = command.words[0];
        std::vector<std::string> args(command.words.begin() + 1, command.words.end());
        std::string program;
        if (first == "vanto" || first == "build/release/cli/vanto") {
            program = VANTO_CLI_PATH;
        } else if (first.rfind("build/release/examples/", 0) == 0) {
            program = std::string(VANTO_EXAMPLES_DIR) + "/" + fs::path(first).filename().string();
        } else {
            leftOut.push_back(command.text);
            continue;
        }
        // The pages' port is the unit's default; here the emulated unit has a free one.
        for (std::size_t i = 0; i < args.size(); ++i) {
            if (args[i] == "8080") {
                args[i] = port;
            }
        }
        SCOPED_TRACE(command.text);
        if (program == VANTO_CLI_PATH && reachesUnit(args)) {
            const bool loopback = std::find(args.begin(), args.end(), "127.0.0.1") != args.end();
            ASSERT_TRUE(loopback) << "a documented command reaches the default unit address";
        }
        ++ran;
        if (program == VANTO_CLI_PATH && !args.empty() && args[0] == "emulate") {
            // Runs until interrupted; shown as written, it must at least come up. Its port is
            // the emulated unit's own, which is taken, so it gets a free one.
            for (std::size_t i = 0; i + 1 < args.size(); ++i) {
                if (args[i] == "--port") {
                    args[i + 1] = "0";
                }
            }
            const auto r = runProgram(program, args, dir, 2s);
            EXPECT_EQ(r.exitCode, -2) << r.err;  // still running when interrupted
            continue;
        }
        const auto r = runProgram(program, args, dir);
        EXPECT_EQ(r.exitCode, command.expectedExit) << r.err;
    }
    unit.stop();
    std::cout << "ran " << ran << " documented commands; left out:\n";
    for (const std::string& text : leftOut) {
        std::cout << "  " << text << '\n';
    }
}

}  // namespace
