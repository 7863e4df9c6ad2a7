#pragma once

// What the printer made of one job's bytes: the paper's content in order, plus everything in
// the bytes it could not make sense of. The renderer draws it; tests and tools read it.

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace vantoemu {

enum class Justification { Left, Center, Right };
enum class CodePage { Default, Windows1252 };

struct TextStyle {
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool inverse = false;
    bool wide = false;
    bool operator==(const TextStyle&) const = default;
};

struct TextRun {
    std::string bytes;  // the printer bytes as received
    std::string text;   // the same bytes as the selected code page shows them, in UTF-8
    TextStyle style;
    CodePage codePage = CodePage::Default;
};

struct TextLine {
    Justification justification = Justification::Left;
    std::vector<TextRun> runs;
    std::string text() const;  // the runs' shown text joined
};

struct Feed {
    int lines = 0;
};

enum class BarcodeKind { UpcA, Code39, Pdf417 };

struct Barcode {
    BarcodeKind kind = BarcodeKind::UpcA;
    std::string data;
    int hri = 0;       // 0 none, 1 above, 2 below, 3 both
    int height = 162;  // bar height in dots
    Justification justification = Justification::Center;
};

struct RasterBand {
    int mode = 0x20;
    int columns = 0;
    int dotsPerColumn = 2;  // horizontal size of one column on paper
    int rows = 24;
    std::vector<std::uint8_t> data;  // rows / 8 bytes per column, top row in bit 7
    Justification justification = Justification::Left;
    bool dot(int column, int row) const;
};

struct Cut {
    bool full = true;
};

struct ConfigPage {};

using DocumentElement = std::variant<TextLine, Feed, Barcode, RasterBand, Cut, ConfigPage>;

struct DocumentIssue {
    std::size_t offset = 0;  // of the first byte concerned, in the job's bytes
    std::string description;
};

struct PrinterDocument {
    std::vector<DocumentElement> elements;
    std::vector<DocumentIssue> issues;
    std::size_t codePageSwitches = 0;

    template <typename T>
    std::vector<T> all() const {
        std::vector<T> out;
        for (const auto& e : elements) {
            if (const T* p = std::get_if<T>(&e)) {
                out.push_back(*p);
            }
        }
        return out;
    }
};

std::string barcodeKindName(BarcodeKind kind);

}  // namespace vantoemu
