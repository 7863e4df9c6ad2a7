// What the README, DEVELOPERS.md and the pages of docs/ show must stay true as files move and
// examples change: every code block whose paragraph names an example file is that file, or a
// piece of it; every relative link and anchor leads somewhere; and every `vanto` and example
// command shown in a shell block runs as written against an emulated unit on a free loopback
// port. The pages' own port (8080) is replaced by that port; a trailing "# exit N" says which
// exit code the command is shown to give. Commands that set up a machine (make, cmake,
// apt-get, ...) are left out and listed.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "tests/support/ProgramRun.hpp"
#include "tests/support/ScratchDir.hpp"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using vantoconnect::testing::runProgram;
using vantoconnect::testing::slurp;

struct Document {
    fs::path path;     // absolute
    std::string name;  // as a reader finds it: "README.md", "docs/cpp.md"
    std::string text;
};

// README.md, DEVELOPERS.md and docs/*.md, in a fixed order.
std::vector<Document> documents(const fs::path& root) {
    std::vector<fs::path> paths;
    for (const auto& entry : fs::directory_iterator(root / "docs")) {
        if (entry.path().extension() == ".md") {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    paths.insert(paths.begin(), {root / "README.md", root / "DEVELOPERS.md"});
    std::vector<Document> documents;
    for (const fs::path& path : paths) {
        documents.push_back({path, fs::relative(path, root).generic_string(), slurp(path)});
    }
    return documents;
}

struct Block {
    std::string language;   // what follows the opening fence: "sh", "cpp", ...
    std::string body;       // every line, each ending in a newline
    std::string paragraph;  // the prose paragraph right above the fence
};

struct Parsed {
    std::vector<Block> blocks;
    std::vector<std::string> prose;  // the lines outside fences
};

Parsed parse(const std::string& text) {
    Parsed parsed;
    std::istringstream in(text);
    std::string line;
    std::string paragraph;  // the last prose paragraph, kept across the blank line that ends it
    bool ended = false;
    Block* open = nullptr;
    while (std::getline(in, line)) {
        const bool fence = line.rfind("```", 0) == 0;
        if (open != nullptr && fence) {
            open = nullptr;
        } else if (open != nullptr) {
            open->body += line + '\n';
        } else if (fence) {
            parsed.blocks.push_back({line.substr(3), "", paragraph});
            open = &parsed.blocks.back();
            paragraph.clear();
        } else {
            parsed.prose.push_back(line);
            if (line.find_first_not_of(' ') == std::string::npos) {
                ended = true;
            } else {
                paragraph = (ended ? "" : paragraph) + line + '\n';
                ended = false;
            }
        }
    }
    return parsed;
}

// A line that stands for lines left out of an excerpt.
bool isGap(std::string line) {
    line.erase(0, line.find_first_not_of(' '));
    return line == "..." || line == "// ..." || line == "# ..." || line == "/* ... */";
}

// The block's pieces between gap lines.
std::vector<std::string> pieces(const std::string& body) {
    std::vector<std::string> out(1);
    std::istringstream in(body);
    std::string line;
    while (std::getline(in, line)) {
        if (isGap(line)) {
            out.emplace_back();
        } else {
            out.back() += line + '\n';
        }
    }
    return out;
}

// Where `piece` ends in `file`, looking from `from`, the piece indented as a whole by up to
// four levels (an excerpt from inside a function is shown flush left).
std::size_t locate(const std::string& file, const std::string& piece, std::size_t from) {
    for (const std::string indent : {"", "    ", "        ", "            ", "                "}) {
        std::string indented;
        std::istringstream in(piece);
        std::string line;
        while (std::getline(in, line)) {
            indented += (line.empty() ? "" : indent) + line + '\n';
        }
        const std::size_t at = file.find(indented, from);
        if (at != std::string::npos) {
            return at + indented.size();
        }
    }
    return std::string::npos;
}

// The targets of the Markdown links in `line` outside code spans: what stands between "](" and
// ")".
std::vector<std::string> linkTargets(const std::string& line) {
    std::vector<std::string> out;
    bool code = false;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '`') {
            code = !code;
        } else if (!code && line.compare(at, 2, "](") == 0) {
            const std::size_t end = line.find_first_of(") ", at + 2);
            if (end != std::string::npos && line[end] == ')') {
                out.push_back(line.substr(at + 2, end - at - 2));
            }
        }
    }
    return out;
}

// A block stands for the example file its paragraph names (`examples/...`): the whole file when
// the paragraph says "`FILE`, complete", otherwise pieces of it in order.
TEST(Docs, ShowExamplesAsTheyAre) {
    std::set<std::string> shown;
    for (const Document& document : documents(VANTO_SOURCE_DIR)) {
        for (const Block& block : parse(document.text).blocks) {
            std::string name;
            const std::string& words = block.paragraph;
            for (auto at = words.find("`examples/"); at != std::string::npos;
                 at = words.find("`examples/", at + 1)) {
                const std::string code = words.substr(at + 1, words.find('`', at + 1) - at - 1);
                if (fs::is_regular_file(fs::path(VANTO_SOURCE_DIR) / code)) {
                    name = code;
                }
            }
            if (name.empty() || block.language.empty() || block.language == "sh" ||
                block.language == "console") {
                continue;
            }
            SCOPED_TRACE(document.name + ": the " + block.language + " block from " + name);
            shown.insert(name);
            const std::string file = slurp(fs::path(VANTO_SOURCE_DIR) / name);
            if (block.paragraph.find("`" + name + "`, complete") != std::string::npos) {
                EXPECT_EQ(block.body, file) << "the page calls it complete";
                continue;
            }
            std::size_t from = 0;
            for (const std::string& piece : pieces(block.body)) {
                from = locate(file, piece, from);
                ASSERT_NE(from, std::string::npos) << "not in the file, or out of order:\n"
                                                   << piece;
            }
        }
    }
    // The C++, C, Python and C# guides each show their example.
    EXPECT_GE(shown.size(), 4u);
}

// The anchor a heading gets: lower case, punctuation dropped, spaces as hyphens, and a
// repeated heading numbered from 1.
std::set<std::string> anchors(const std::string& text) {
    std::set<std::string> out;
    std::map<std::string, int> seen;
    for (const std::string& line : parse(text).prose) {
        const auto hashes = line.find_first_not_of('#');
        if (hashes == 0 || hashes == std::string::npos || line[hashes] != ' ') {
            continue;
        }
        std::string slug;
        for (const char c : line.substr(hashes + 1)) {
            if (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_') {
                slug += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            } else if (c == ' ') {
                slug += '-';
            }
        }
        const int n = seen[slug]++;
        out.insert(n == 0 ? slug : slug + "-" + std::to_string(n));
    }
    return out;
}

// Relative links and their anchors lead somewhere. Code and HTML comments are not read.
TEST(Docs, LinksResolve) {
    int checked = 0;
    for (const Document& document : documents(VANTO_SOURCE_DIR)) {
        std::string text = document.text;
        for (auto at = text.find("<!--"); at != std::string::npos; at = text.find("<!--", at)) {
            const auto close = text.find("-->", at);
            text.erase(at, close == std::string::npos ? close : close + 3 - at);
        }
        for (const std::string& line : parse(text).prose) {
            for (const std::string& target : linkTargets(line)) {
                if (target.rfind("http://", 0) == 0 || target.rfind("https://", 0) == 0) {
                    continue;
                }
                SCOPED_TRACE(document.name + ": " + target);
                ++checked;
                const auto hash = target.find('#');
                const std::string file = target.substr(0, hash);
                const fs::path path =
                    file.empty() ? document.path : document.path.parent_path() / file;
                ASSERT_TRUE(fs::exists(path)) << "no such file";
                if (hash != std::string::npos) {
                    EXPECT_TRUE(anchors(slurp(path)).count(target.substr(hash + 1)))
                        << "no such heading";
                }
            }
        }
    }
    EXPECT_GT(checked, 0);
}

struct Command {
    std::string text;  // as the page shows it
    std::vector<std::string> words;
    int expectedExit = 0;
};

// Adds the lines of every ```sh block, with "# exit N" markers read and other comments dropped.
// A command shown on two pages runs once.
void addShellCommands(const std::vector<Block>& blocks, std::vector<Command>& commands) {
    for (const Block& block : blocks) {
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
            std::istringstream words(command.text);
            command.words.assign(std::istream_iterator<std::string>(words), {});
            const auto same = [&](const Command& c) { return c.text == command.text; };
            if (!command.words.empty() && std::none_of(commands.begin(), commands.end(), same)) {
                commands.push_back(command);
            }
        }
    }
}

TEST(Readme, EveryCommandRunsAsWritten) {
    std::vector<Command> commands;
    for (const Document& document : documents(VANTO_SOURCE_DIR)) {
        addShellCommands(parse(document.text).blocks, commands);
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
        std::replace(args.begin(), args.end(), std::string("8080"), port);
        SCOPED_TRACE(command.text);
        const std::set<std::string> reachUnit = {"print", "drawer", "led", "usb", "printer"};
        if (program == VANTO_CLI_PATH && !args.empty() && reachUnit.count(args[0]) != 0) {
            const bool loopback = std::find(args.begin(), args.end(), "127.0.0.1") != args.end();
            ASSERT_TRUE(loopback) << "a documented command reaches the default unit address";
        }
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
    std::cout << "ran " << commands.size() - leftOut.size() << " documented commands; left out:\n";
    for (const std::string& text : leftOut) {
        std::cout << "  " << text << '\n';
    }
}

}  // namespace
