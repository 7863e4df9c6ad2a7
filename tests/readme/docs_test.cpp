// What the README and the pages of docs/ show must stay true as files move and examples change:
// every code block whose paragraph names an example file is that file, or a piece of it, and
// every relative link and anchor leads somewhere.

#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/readme/Docs.hpp"

namespace {

namespace fs = std::filesystem;

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

// The spans of `text` between backticks, and the text outside them.
struct Spans {
    std::vector<std::string> code;
    std::string outside;
};

Spans spans(const std::string& text) {
    Spans out;
    std::size_t at = 0;
    while (true) {
        const std::size_t open = text.find('`', at);
        const std::size_t close = open == std::string::npos ? open : text.find('`', open + 1);
        if (close == std::string::npos) {
            out.outside += text.substr(at);
            return out;
        }
        out.outside += text.substr(at, open - at);
        out.code.push_back(text.substr(open + 1, close - open - 1));
        at = close + 1;
    }
}

// The targets of the Markdown links in `line`: what stands between "](" and ")".
std::vector<std::string> linkTargets(const std::string& line) {
    std::vector<std::string> out;
    for (auto at = line.find("]("); at != std::string::npos; at = line.find("](", at + 2)) {
        const std::size_t end = line.find_first_of(") ", at + 2);
        if (end != std::string::npos && line[end] == ')') {
            out.push_back(line.substr(at + 2, end - at - 2));
        }
    }
    return out;
}

// A block stands for the example file its paragraph names (`examples/...`): the whole file when
// the paragraph says "`FILE`, complete", otherwise pieces of it in order.
TEST(Docs, ShowExamplesAsTheyAre) {
    std::set<std::string> shown;
    for (const docs::Document& document : docs::all(VANTO_SOURCE_DIR)) {
        for (const docs::Block& block : docs::parse(document.text).blocks) {
            std::string name;
            for (const std::string& code : spans(block.paragraph).code) {
                if (code.rfind("examples/", 0) == 0 &&
                    fs::is_regular_file(fs::path(VANTO_SOURCE_DIR) / code)) {
                    name = code;
                }
            }
            if (name.empty() || block.language.empty() || block.language == "sh" ||
                block.language == "console") {
                continue;
            }
            SCOPED_TRACE(document.name + ": the " + block.language + " block from " + name);
            shown.insert(name);
            const std::string file = docs::slurp(fs::path(VANTO_SOURCE_DIR) / name);
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
    for (const char* example :
         {"examples/print_receipt.cpp", "examples/c/print_receipt.c",
          "examples/python/print_receipt.py", "examples/csharp/PrintReceipt.cs"}) {
        EXPECT_TRUE(shown.count(example)) << example << " is shown nowhere";
    }
}

// The anchor a heading gets: lower case, punctuation dropped, spaces as hyphens, and a
// repeated heading numbered from 1.
std::set<std::string> anchors(const std::string& text) {
    std::set<std::string> out;
    std::map<std::string, int> seen;
    for (const std::string& line : docs::parse(text).prose) {
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
    for (const docs::Document& document : docs::all(VANTO_SOURCE_DIR)) {
        std::string text = document.text;
        for (auto at = text.find("<!--"); at != std::string::npos; at = text.find("<!--", at)) {
            const auto close = text.find("-->", at);
            text.erase(at, close == std::string::npos ? close : close + 3 - at);
        }
        for (const std::string& line : docs::parse(text).prose) {
            for (const std::string& target : linkTargets(spans(line).outside)) {
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
                    EXPECT_TRUE(anchors(docs::slurp(path)).count(target.substr(hash + 1)))
                        << "no such heading";
                }
            }
        }
    }
    EXPECT_GT(checked, 0);
}

}  // namespace
