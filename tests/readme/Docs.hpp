#pragma once

// The user documentation as its tests read it: the README and every page under docs/, split
// into fenced blocks and the prose around them.

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/ProgramRun.hpp"

namespace docs {

namespace fs = std::filesystem;
using vantoconnect::testing::slurp;

struct Document {
    fs::path path;     // absolute
    std::string name;  // as a reader finds it: "README.md", "docs/cpp.md"
    std::string text;
};

// README.md, DEVELOPERS.md and docs/*.md, in a fixed order.
inline std::vector<Document> all(const fs::path& root) {
    std::vector<fs::path> paths{root / "README.md", root / "DEVELOPERS.md"};
    std::vector<fs::path> pages;
    for (const auto& entry : fs::directory_iterator(root / "docs")) {
        if (entry.path().extension() == ".md") {
            pages.push_back(entry.path());
        }
    }
    std::sort(pages.begin(), pages.end());
    paths.insert(paths.end(), pages.begin(), pages.end());
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

inline Parsed parse(const std::string& text) {
    Parsed parsed;
    std::istringstream in(text);
    std::string line;
    std::vector<std::string> paragraph;  // the prose lines since the last blank one
    std::string lastParagraph;
    Block* open = nullptr;
    while (std::getline(in, line)) {
        if (open != nullptr) {
            if (line.rfind("```", 0) == 0) {
                open = nullptr;
            } else {
                open->body += line + '\n';
            }
            continue;
        }
        if (line.rfind("```", 0) == 0) {
            parsed.blocks.push_back({line.substr(3), "", lastParagraph});
            open = &parsed.blocks.back();
            paragraph.clear();
            lastParagraph.clear();
            continue;
        }
        parsed.prose.push_back(line);
        if (line.find_first_not_of(' ') == std::string::npos) {
            paragraph.clear();
        } else {
            paragraph.push_back(line);
            lastParagraph.clear();
            for (const std::string& l : paragraph) {
                lastParagraph += l + '\n';
            }
        }
    }
    return parsed;
}

}  // namespace docs
