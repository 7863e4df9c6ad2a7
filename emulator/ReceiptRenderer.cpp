#include "emulator/ReceiptRenderer.hpp"

#include <vips/vips.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <stdexcept>

#include "emulator/BarcodeSymbol.hpp"
#include "emulator/PrinterInterpreter.hpp"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VANTOEMU_LEAK_CHECKED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define VANTOEMU_LEAK_CHECKED 1
#endif

#ifdef VANTOEMU_LEAK_CHECKED
// Font discovery behind the text renderer keeps process-wide caches that it never frees;
// without this, every leak-checked program that draws a receipt would fail at exit.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libpango\nleak:libharfbuzz\n";
}
#endif

namespace vantoemu {

namespace {

constexpr int MARGIN_DOTS = 12;
constexpr int FONT_PX = 21;
constexpr int SMALL_FONT_PX = 18;
constexpr int HRI_ROW_DOTS = 24;
constexpr std::size_t UPC_MODULES = 95;
// How far UPC-A guard bars reach below the others, into the row of digits.
constexpr int GUARD_REACH_DOTS = 12;
// Code 39 wants ten narrow bars of white paper either side.
constexpr int CODE39_QUIET_MODULES = 10;
constexpr const char* FONT_FAMILY = "DejaVu Sans Mono";

void ensureVips() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (VIPS_INIT("vantoemu") != 0) {
            throw std::runtime_error("libvips could not be initialised");
        }
    });
}

struct Mask {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> ink;  // 255 is full ink
};

class Canvas {
  public:
    explicit Canvas(int width) : mWidth(width) {}

    int width() const { return mWidth; }
    int height() const { return mHeight; }

    void grow(int height) {
        if (height > mHeight) {
            mHeight = height;
            mInk.resize(static_cast<std::size_t>(mWidth) * static_cast<std::size_t>(mHeight), 0);
        }
    }

    void fill(int x, int y, int w, int h) {
        grow(y + h);
        for (int yy = std::max(0, y); yy < y + h; ++yy) {
            for (int xx = std::max(0, x); xx < std::min(mWidth, x + w); ++xx) {
                mInk[index(xx, yy)] = 255;
            }
        }
    }

    // Draws the mask in ink, or with `knockout` clears it out of ink already there (white
    // text on a black background).
    void stamp(const Mask& mask, int x, int y, bool knockout) {
        grow(y + mask.height);
        for (int my = 0; my < mask.height; ++my) {
            const int yy = y + my;
            if (yy < 0) {
                continue;
            }
            for (int mx = 0; mx < mask.width; ++mx) {
                const int xx = x + mx;
                if (xx < 0 || xx >= mWidth) {
                    continue;
                }
                const std::uint8_t m =
                    mask.ink[static_cast<std::size_t>(my) * static_cast<std::size_t>(mask.width) +
                             static_cast<std::size_t>(mx)];
                std::uint8_t& dot = mInk[index(xx, yy)];
                dot = knockout ? std::min<std::uint8_t>(dot, static_cast<std::uint8_t>(255 - m))
                               : std::max(dot, m);
            }
        }
    }

    std::vector<std::uint8_t> paper() const {
        std::vector<std::uint8_t> out(mInk.size());
        std::transform(mInk.begin(), mInk.end(), out.begin(),
                       [](std::uint8_t ink) { return static_cast<std::uint8_t>(255 - ink); });
        return out;
    }

  private:
    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(mWidth) +
               static_cast<std::size_t>(x);
    }

    int mWidth;
    int mHeight = 0;
    std::vector<std::uint8_t> mInk;
};

std::string escapeMarkup(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

// Draws text with Pango through libvips; an empty mask when the text cannot be drawn.
// libvips crops the result to the ink, so every run is drawn behind a full block that spans
// the font's whole height and is then cut off: runs line up on one baseline whatever glyphs
// they hold.
Mask rawTextMask(const std::string& text, const std::string& font,
                 std::vector<std::string>& problems) {
    Mask mask;
    VipsImage* image = nullptr;
    const std::string markup = escapeMarkup(text);
    if (vips_text(&image, markup.c_str(), "font", font.c_str(), "dpi", 72, nullptr) != 0) {
        problems.push_back("text \"" + text + "\" could not be drawn: " + vips_error_buffer());
        vips_error_clear();
        return mask;
    }
    std::size_t size = 0;
    void* memory = vips_image_write_to_memory(image, &size);
    if (memory != nullptr && vips_image_get_bands(image) == 1 &&
        size == static_cast<std::size_t>(vips_image_get_width(image)) *
                    static_cast<std::size_t>(vips_image_get_height(image))) {
        mask.width = vips_image_get_width(image);
        mask.height = vips_image_get_height(image);
        const auto* bytes = static_cast<const std::uint8_t*>(memory);
        mask.ink.assign(bytes, bytes + size);
    }
    g_free(memory);
    g_object_unref(image);
    return mask;
}

Mask textMask(const std::string& text, bool bold, bool italic, int px,
              std::vector<std::string>& problems) {
    ensureVips();
    std::string font = FONT_FAMILY;
    if (bold) {
        font += " Bold";
    }
    if (italic) {
        font += " Oblique";
    }
    font += " " + std::to_string(px) + "px";
    static const std::string BLOCK = "\xE2\x96\x88";  // U+2588 FULL BLOCK
    // The block's ink may overhang its advance by a dot of antialiasing: cut at whichever
    // is wider. Measured once per font.
    static std::mutex cutMutex;
    static std::map<std::string, int> cuts;
    int advance = 0;
    {
        std::lock_guard lock(cutMutex);
        auto it = cuts.find(font);
        if (it == cuts.end()) {
            std::vector<std::string> ignored;
            const Mask one = rawTextMask(BLOCK, font, ignored);
            const Mask two = rawTextMask(BLOCK + BLOCK, font, ignored);
            it = cuts.emplace(font, std::max(two.width - one.width, one.width)).first;
        }
        advance = it->second;
    }
    Mask drawn = rawTextMask(BLOCK + text, font, problems);
    if (drawn.width <= advance || advance <= 0) {
        return {};
    }
    Mask out;
    out.width = drawn.width - advance;
    out.height = drawn.height;
    out.ink.resize(static_cast<std::size_t>(out.width) * static_cast<std::size_t>(out.height));
    for (int y = 0; y < out.height; ++y) {
        for (int x = 0; x < out.width; ++x) {
            out.ink[static_cast<std::size_t>(y * out.width + x)] =
                drawn.ink[static_cast<std::size_t>(y * drawn.width + x + advance)];
        }
    }
    return out;
}

Mask doubleWidth(const Mask& in) {
    Mask out;
    out.width = in.width * 2;
    out.height = in.height;
    out.ink.resize(static_cast<std::size_t>(out.width) * static_cast<std::size_t>(out.height));
    for (int y = 0; y < in.height; ++y) {
        for (int x = 0; x < in.width; ++x) {
            const std::uint8_t v = in.ink[static_cast<std::size_t>(y * in.width + x)];
            out.ink[static_cast<std::size_t>(y * out.width + 2 * x)] = v;
            out.ink[static_cast<std::size_t>(y * out.width + 2 * x + 1)] = v;
        }
    }
    return out;
}

// One printed character position.
struct Cell {
    std::string glyph;  // UTF-8 of one character
    TextStyle style;
    int units = 1;  // normal columns it takes: 2 when wide
};

std::vector<Cell> cellsOf(const TextLine& line) {
    std::vector<Cell> cells;
    for (const auto& run : line.runs) {
        const std::string& t = run.text;
        std::size_t i = 0;
        while (i < t.size()) {
            const auto lead = static_cast<unsigned char>(t[i]);
            std::size_t len = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
            len = std::min(len, t.size() - i);
            cells.push_back(Cell{t.substr(i, len), run.style, run.style.wide ? 2 : 1});
            i += len;
        }
    }
    return cells;
}

// Breaks a line's characters into the rows the printer fills, 44 normal columns each.
std::vector<std::vector<Cell>> rowsOf(const TextLine& line) {
    std::vector<std::vector<Cell>> rows(1);
    int used = 0;
    for (auto& cell : cellsOf(line)) {
        if (used + cell.units > ReceiptRenderer::COLUMNS) {
            rows.emplace_back();
            used = 0;
        }
        used += cell.units;
        rows.back().push_back(std::move(cell));
    }
    return rows;
}

int unitsOf(const std::vector<Cell>& row) {
    int units = 0;
    for (const auto& c : row) {
        units += c.units;
    }
    return units;
}

int startColumn(Justification j, int units, int columns) {
    switch (j) {
        case Justification::Left:
            return 0;
        case Justification::Center:
            return std::max(0, (columns - units) / 2);
        case Justification::Right:
            return std::max(0, columns - units);
    }
    return 0;
}

int columnX(int column) {
    return column * ReceiptRenderer::PAPER_DOTS / ReceiptRenderer::COLUMNS;
}

int startX(Justification j, int width) {
    switch (j) {
        case Justification::Left:
            return 0;
        case Justification::Center:
            return std::max(0, (ReceiptRenderer::PAPER_DOTS - width) / 2);
        case Justification::Right:
            return std::max(0, ReceiptRenderer::PAPER_DOTS - width);
    }
    return 0;
}

int code39Width(const BarcodeSymbol& symbol, int narrow) {
    int width = 0;
    for (const int run : symbol.runs) {
        width += run > 1 ? 3 * narrow : narrow;
    }
    return width;
}

// Code 39 narrow bars are the widest of three, two or one dot that lets the symbol and its
// quiet zones fit the paper, wide bars three times as wide; 0 when even one dot is too wide.
int code39Narrow(const BarcodeSymbol& symbol) {
    for (int narrow = 3; narrow >= 1; --narrow) {
        if (code39Width(symbol, narrow) + 2 * CODE39_QUIET_MODULES * narrow <=
            ReceiptRenderer::PAPER_DOTS) {
            return narrow;
        }
    }
    return 0;
}

// Whether the printer puts the barcode on paper at all.
bool printable(const Barcode& code) {
    const BarcodeSymbol symbol = BarcodeSymbol::encode(code.kind, code.data);
    return symbol.error.empty() && (code.kind != BarcodeKind::Code39 || code39Narrow(symbol) > 0);
}

class Painter {
  public:
    Painter() : mCanvas(ReceiptRenderer::PAPER_DOTS) { mY = MARGIN_DOTS; }

    void textLine(const TextLine& line) {
        for (const auto& row : rowsOf(line)) {
            textRow(row, line.justification);
        }
    }

    void textRow(const std::vector<Cell>& row, Justification justification) {
        const int top = mY;
        int column = startColumn(justification, unitsOf(row), ReceiptRenderer::COLUMNS);
        // Backgrounds and underlines go first, per cell, so the grid stays exact.
        int c = column;
        for (const auto& cell : row) {
            const int x0 = columnX(c);
            const int x1 = columnX(c + cell.units);
            if (cell.style.inverse) {
                mCanvas.fill(x0, top, x1 - x0, ReceiptRenderer::LINE_DOTS);
            }
            if (cell.style.underline) {
                mCanvas.fill(x0, top + ReceiptRenderer::LINE_DOTS - 4, x1 - x0, 2);
            }
            c += cell.units;
        }
        // Glyphs are drawn in segments of equal style without spaces, each placed on its
        // column, so font metrics never shift later characters off the grid.
        std::size_t i = 0;
        while (i < row.size()) {
            if (row[i].glyph == " ") {
                column += row[i].units;
                ++i;
                continue;
            }
            std::string segment;
            const TextStyle style = row[i].style;
            const int segmentColumn = column;
            while (i < row.size() && row[i].glyph != " " && row[i].style == style) {
                segment += row[i].glyph;
                column += row[i].units;
                ++i;
            }
            Mask mask = textMask(segment, style.bold, style.italic, FONT_PX, mProblems);
            if (style.wide) {
                mask = doubleWidth(mask);
            }
            mCanvas.stamp(mask, columnX(segmentColumn), top + 2, style.inverse);
        }
        mY += ReceiptRenderer::LINE_DOTS;
        mCanvas.grow(mY);
    }

    void feed(int lines) {
        mY += lines * ReceiptRenderer::LINE_DOTS;
        mCanvas.grow(mY);
    }

    // Small text centred on `centre`, kept on the paper; lines too wide for the paper wrap.
    void smallTextRows(const std::string& text, int centre) {
        for (const std::string& row : wrapToPaper(text)) {
            const Mask mask = textMask(row, false, false, SMALL_FONT_PX, mProblems);
            const int x = std::clamp(centre - mask.width / 2, 0,
                                     std::max(0, ReceiptRenderer::PAPER_DOTS - mask.width));
            mCanvas.stamp(mask, x, mY, false);
            mY += HRI_ROW_DOTS;
            mCanvas.grow(mY);
        }
    }

    void barcode(const Barcode& code) {
        const BarcodeSymbol symbol = BarcodeSymbol::encode(code.kind, code.data);
        std::string refusal = symbol.error.empty() ? "" : "not encodable: " + symbol.error;
        if (refusal.empty()) {
            switch (code.kind) {
                case BarcodeKind::UpcA:
                    upcA(code, symbol);
                    return;
                case BarcodeKind::Code39:
                    refusal = code39(code, symbol);
                    break;
                case BarcodeKind::Pdf417:
                    pdf417(code, symbol);
                    return;
            }
        }
        if (!refusal.empty()) {
            mProblems.push_back(barcodeKindName(code.kind) + " \"" + code.data + "\" " + refusal);
            // What a printer does with data it cannot print: nothing on paper. A framed note
            // keeps the gap visible in the picture.
            TextLine note;
            note.justification = code.justification;
            TextRun run;
            run.text = "[" + barcodeKindName(code.kind) + " not printable: " + code.data + "]";
            note.runs.push_back(run);
            textLine(note);
        }
    }

    // Bars three dots to the module, guard bars (and the first and last digit's bars) reaching
    // down between the digits, and the digits split around them as on a retail label: the
    // number system left of the symbol, five under each half, the check digit right of it.
    void upcA(const Barcode& code, const BarcodeSymbol& symbol) {
        constexpr int MODULE = 3;
        std::vector<bool> modules;
        bool bar = true;
        for (const int run : symbol.runs) {
            modules.insert(modules.end(), static_cast<std::size_t>(run), bar);
            bar = !bar;
        }
        const bool split = modules.size() == UPC_MODULES && symbol.text.size() == 12;
        const bool above = code.hri == 1 || code.hri == 3;
        const bool below = code.hri == 2 || code.hri == 3;
        static const int digit = [] {
            std::vector<std::string> ignored;
            return textMask("0", false, false, SMALL_FONT_PX, ignored).width;
        }();
        const int side = split && (above || below) ? digit + 8 : 0;
        const int barsWidth = static_cast<int>(modules.size()) * MODULE;
        const int left = startX(code.justification, barsWidth + 2 * side);
        const int barsLeft = left + side;
        auto labels = [&] {
            if (!split) {
                smallTextRows(symbol.text, barsLeft + barsWidth / 2);
                return;
            }
            const int top = mY;
            auto put = [&](const std::string& text, double module) {
                mY = top;
                smallTextRows(text, barsLeft + static_cast<int>(module * MODULE));
            };
            put(symbol.text.substr(0, 1), -static_cast<double>(side) / 2 / MODULE);
            put(symbol.text.substr(1, 5), 27.5);  // modules 10..44
            put(symbol.text.substr(6, 5), 67.5);  // modules 50..84
            put(symbol.text.substr(11, 1), UPC_MODULES + static_cast<double>(side) / 2 / MODULE);
        };
        if (above) {
            labels();
        }
        const int top = mY;
        const int reach = split && below ? GUARD_REACH_DOTS : 0;
        for (std::size_t m = 0; m < modules.size(); ++m) {
            if (modules[m]) {
                const bool guard = m < 10 || (m >= 45 && m < 50) || m >= 85;
                mCanvas.fill(barsLeft + static_cast<int>(m) * MODULE, top, MODULE,
                             code.height + (guard ? reach : 0));
            }
        }
        mY = top + code.height + 4;
        mCanvas.grow(mY + reach);
        if (below) {
            labels();
        }
        mY = std::max(mY, top + code.height + reach) + 6;
        mCanvas.grow(mY);
    }

    // Returns why the symbol cannot be printed.
    std::string code39(const Barcode& code, const BarcodeSymbol& symbol) {
        const int narrow = code39Narrow(symbol);
        const int width = code39Width(symbol, std::max(1, narrow));
        if (narrow == 0) {
            return "is " + std::to_string(width) +
                   " dots wide even with one-dot bars, wider than the paper: left out";
        }
        const int left = startX(code.justification, width);
        if (code.hri == 1 || code.hri == 3) {
            smallTextRows(symbol.text, left + width / 2);
        }
        int x = left;
        bool bar = true;
        for (const int run : symbol.runs) {
            const int dots = run > 1 ? 3 * narrow : narrow;
            if (bar) {
                mCanvas.fill(x, mY, dots, code.height);
            }
            x += dots;
            bar = !bar;
        }
        mY += code.height + 4;
        mCanvas.grow(mY);
        if (code.hri == 2 || code.hri == 3) {
            smallTextRows(symbol.text, left + width / 2);
        }
        mY += 6;
        mCanvas.grow(mY);
        return "";
    }

    // Stacked rows keep their own proportions (each module as many dots high as wide, rows
    // three modules high); the bar height of linear codes does not apply.
    void pdf417(const Barcode& code, const BarcodeSymbol& symbol) {
        const int columns = static_cast<int>(symbol.rows.front().size());
        const int scale = std::clamp((ReceiptRenderer::PAPER_DOTS - 16) / columns, 1, 3);
        const int width = std::min(columns * scale, ReceiptRenderer::PAPER_DOTS);
        const int left = startX(code.justification, width);
        if (code.hri == 1 || code.hri == 3) {
            smallTextRows(symbol.text, left + width / 2);
        }
        for (std::size_t y = 0; y < symbol.rows.size(); ++y) {
            for (int x = 0; x * scale < width; ++x) {
                if (symbol.rows[y][static_cast<std::size_t>(x)]) {
                    mCanvas.fill(left + x * scale, mY + static_cast<int>(y) * scale, scale, scale);
                }
            }
        }
        mY += static_cast<int>(symbol.rows.size()) * scale + 4;
        mCanvas.grow(mY);
        if (code.hri == 2 || code.hri == 3) {
            smallTextRows(symbol.text, left + width / 2);
        }
        mY += 6;
        mCanvas.grow(mY);
    }

    // Rows of whole characters that each fit the paper's width in the small font.
    std::vector<std::string> wrapToPaper(const std::string& text) {
        // The advance of one character, without the ink that overhangs the last one; the font
        // never changes, so it is measured once.
        static const int perChar = [] {
            std::vector<std::string> ignored;
            const int ten = textMask("0000000000", false, false, SMALL_FONT_PX, ignored).width;
            const int twenty =
                textMask("00000000000000000000", false, false, SMALL_FONT_PX, ignored).width;
            return std::max(1, (twenty - ten + 9) / 10);
        }();
        const std::size_t perRow =
            static_cast<std::size_t>(std::max(1, (ReceiptRenderer::PAPER_DOTS - 8) / perChar));
        std::vector<std::string> rows(1);
        std::size_t count = 0;
        for (std::size_t i = 0; i < text.size();) {
            std::size_t next = i + 1;
            while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0) == 0x80) {
                ++next;  // the rest of a UTF-8 sequence
            }
            if (count == perRow) {
                rows.emplace_back();
                count = 0;
            }
            rows.back() += text.substr(i, next - i);
            ++count;
            i = next;
        }
        return rows;
    }

    void raster(const RasterBand& band) {
        const int width = band.columns * band.dotsPerColumn;
        const int x0 = startX(band.justification, width);
        mCanvas.grow(mY + band.rows);
        for (int column = 0; column < band.columns; ++column) {
            for (int row = 0; row < band.rows; ++row) {
                if (band.dot(column, row)) {
                    mCanvas.fill(x0 + column * band.dotsPerColumn, mY + row, band.dotsPerColumn, 1);
                }
            }
        }
        mY += band.rows;
    }

    void cut(const Cut& cut) {
        const int middle = mY + 14;
        mCanvas.grow(mY + 30);
        for (int x = 0; x < ReceiptRenderer::PAPER_DOTS; x += 14) {
            mCanvas.fill(x, middle, 8, 2);
        }
        Mask label =
            textMask(cut.full ? "full cut" : "partial cut", false, false, SMALL_FONT_PX, mProblems);
        const int x = (ReceiptRenderer::PAPER_DOTS - label.width) / 2;
        Mask blank;
        blank.width = label.width + 16;
        blank.height = 6;
        blank.ink.assign(static_cast<std::size_t>(blank.width * blank.height), 255);
        mCanvas.stamp(blank, x - 8, middle - 2, true);
        mCanvas.stamp(label, x, middle - label.height / 2, false);
        mY += 30;
    }

    RenderedReceipt finish() {
        mY += MARGIN_DOTS;
        mCanvas.grow(mY);
        RenderedReceipt out;
        out.width = mCanvas.width();
        out.height = mCanvas.height();
        out.pixels = mCanvas.paper();
        out.problems = std::move(mProblems);
        return out;
    }

    std::vector<std::string>& problems() { return mProblems; }

  private:
    Canvas mCanvas;
    int mY = 0;
    std::vector<std::string> mProblems;
};

std::vector<std::string> configPageLines() {
    return {"CONFIGURATION PAGE",
            "Emulated Vanto unit, receipt printer",
            "Paper width: 576 dots (80 mm)",
            "Columns: 44 normal, 22 wide",
            "Code pages: PC437 (default), Windows-1252",
            "Barcodes: UPC-A, Code 39, PDF417",
            "Bit images: 8 and 24 dots"};
}

TextLine plainLine(const std::string& text, Justification justification) {
    TextLine line;
    line.justification = justification;
    TextRun run;
    run.bytes = text;
    run.text = text;
    line.runs.push_back(std::move(run));
    return line;
}

std::string justifiedText(const std::string& text, int units, Justification justification) {
    return std::string(static_cast<std::size_t>(
                           startColumn(justification, units, ReceiptRenderer::COLUMNS)),
                       ' ') +
           text;
}

std::string rightTrimmed(std::string s) {
    while (!s.empty() && s.back() == ' ') {
        s.pop_back();
    }
    return s;
}

std::string cutText(bool full) {
    const std::string label = full ? " full cut " : " partial cut ";
    const std::size_t left = (ReceiptRenderer::COLUMNS - label.size()) / 2;
    const std::size_t right = ReceiptRenderer::COLUMNS - label.size() - left;
    return std::string(left, '-') + label + std::string(right, '-');
}

}  // namespace

bool RenderedReceipt::dark(int x, int y) const {
    if (x < 0 || y < 0 || x >= width || y >= height) {
        return false;
    }
    return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                  static_cast<std::size_t>(x)] < 128;
}

std::size_t RenderedReceipt::darkCount(int x, int y, int w, int h) const {
    std::size_t count = 0;
    for (int yy = y; yy < y + h; ++yy) {
        for (int xx = x; xx < x + w; ++xx) {
            count += dark(xx, yy) ? 1 : 0;
        }
    }
    return count;
}

std::string ReceiptRenderer::textView(const PrinterDocument& document) {
    std::string out;
    const auto& elements = document.elements;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const auto& element = elements[i];
        if (const auto* line = std::get_if<TextLine>(&element)) {
            for (const auto& row : rowsOf(*line)) {
                std::string text;
                for (const auto& cell : row) {
                    text += cell.glyph;
                }
                out += rightTrimmed(justifiedText(text, unitsOf(row), line->justification)) + "\n";
            }
        } else if (const auto* feed = std::get_if<Feed>(&element)) {
            for (int n = 0; n < feed->lines; ++n) {
                out += "\n";
            }
        } else if (const auto* code = std::get_if<Barcode>(&element)) {
            // What the paper shows: a UPC-A of 11 digits is printed with its check digit.
            std::string shown = code->data;
            if (code->kind == BarcodeKind::UpcA && shown.size() == 11 &&
                shown.find_first_not_of("0123456789") == std::string::npos) {
                shown += BarcodeSymbol::upcCheckDigit(shown);
            }
            const std::string marker =
                printable(*code)
                    ? "[" + barcodeKindName(code->kind) + " " + shown + "]"
                    : "[" + barcodeKindName(code->kind) + " not printable: " + code->data + "]";
            out +=
                justifiedText(marker, static_cast<int>(marker.size()), code->justification) + "\n";
        } else if (const auto* band = std::get_if<RasterBand>(&element)) {
            // Consecutive bands are one picture on paper.
            int rows = band->rows;
            while (i + 1 < elements.size()) {
                const auto* next = std::get_if<RasterBand>(&elements[i + 1]);
                if (next == nullptr || next->columns != band->columns) {
                    break;
                }
                rows += next->rows;
                ++i;
            }
            out += "[image " + std::to_string(band->columns) + "x" + std::to_string(rows) + "]\n";
        } else if (const auto* cut = std::get_if<Cut>(&element)) {
            out += cutText(cut->full) + "\n";
        } else if (std::holds_alternative<ConfigPage>(element)) {
            for (const auto& text : configPageLines()) {
                out += text + "\n";
            }
        }
    }
    return out;
}

RenderedReceipt ReceiptRenderer::render(const PrinterDocument& document) {
    ensureVips();
    Painter painter;
    for (const auto& element : document.elements) {
        if (const auto* line = std::get_if<TextLine>(&element)) {
            painter.textLine(*line);
        } else if (const auto* feed = std::get_if<Feed>(&element)) {
            painter.feed(feed->lines);
        } else if (const auto* code = std::get_if<Barcode>(&element)) {
            painter.barcode(*code);
        } else if (const auto* band = std::get_if<RasterBand>(&element)) {
            painter.raster(*band);
        } else if (const auto* cut = std::get_if<Cut>(&element)) {
            painter.cut(*cut);
        } else if (std::holds_alternative<ConfigPage>(element)) {
            for (const auto& text : configPageLines()) {
                painter.textLine(plainLine(text, Justification::Left));
            }
        }
    }
    RenderedReceipt out = painter.finish();
    out.text = textView(document);

    VipsImage* image = vips_image_new_from_memory(out.pixels.data(), out.pixels.size(), out.width,
                                                  out.height, 1, VIPS_FORMAT_UCHAR);
    if (image == nullptr) {
        out.problems.push_back(std::string("PNG not made: ") + vips_error_buffer());
        vips_error_clear();
        return out;
    }
    void* buffer = nullptr;
    std::size_t length = 0;
    if (vips_pngsave_buffer(image, &buffer, &length, nullptr) == 0) {
        const auto* bytes = static_cast<const std::uint8_t*>(buffer);
        out.png.assign(bytes, bytes + length);
    } else {
        out.problems.push_back(std::string("PNG not made: ") + vips_error_buffer());
        vips_error_clear();
    }
    g_free(buffer);
    g_object_unref(image);
    return out;
}

RenderedReceipt ReceiptRenderer::renderBytes(std::span<const std::uint8_t> bytes) {
    return render(PrinterInterpreter::interpret(bytes));
}

void ReceiptRenderer::writeFile(const std::string& path, std::span<const std::uint8_t> data) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
    file.write(reinterpret_cast<const char*>(data.data()),
               static_cast<std::streamsize>(data.size()));
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

RenderedReceipt ReceiptRenderer::renderBytesToFile(std::span<const std::uint8_t> bytes,
                                                   const std::string& pngPath) {
    RenderedReceipt out = renderBytes(bytes);
    writeFile(pngPath, out.png);
    return out;
}

}  // namespace vantoemu
