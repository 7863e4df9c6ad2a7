#include "emulator/PrinterInterpreter.hpp"

#include <cstdio>
#include <string>

#include "emulator/CodePageDecoder.hpp"

namespace vantoemu {

namespace {

std::string hex(std::span<const std::uint8_t> bytes) {
    std::string out;
    for (std::uint8_t b : bytes) {
        char text[4];
        std::snprintf(text, sizeof text, "%02x", b);
        if (!out.empty()) {
            out += ' ';
        }
        out += text;
    }
    return out;
}

class Interpretation {
  public:
    explicit Interpretation(std::span<const std::uint8_t> bytes) : mBytes(bytes) {}

    PrinterDocument run() {
        while (mPos < mBytes.size()) {
            if (!step()) {
                break;
            }
        }
        if (!mLine.runs.empty()) {
            issue(mLineStart, "text not ended by a line feed at the end of the job");
            flushLine();
        }
        return std::move(mDoc);
    }

  private:
    void issue(std::size_t offset, std::string text) {
        mDoc.issues.push_back(DocumentIssue{offset, std::move(text)});
    }

    // A command needs `count` bytes from the current position; a job that ends sooner is
    // reported and reading stops.
    bool need(std::size_t count) {
        if (mPos + count <= mBytes.size()) {
            return true;
        }
        issue(mPos, "command " + hex(mBytes.subspan(mPos)) + " cut short by the end of the job");
        mPos = mBytes.size();
        return false;
    }

    void flushLine() {
        for (auto& run : mLine.runs) {
            run.text = CodePageDecoder::decode(run.bytes, run.codePage);
        }
        mDoc.elements.emplace_back(std::move(mLine));
        mLine = TextLine{};
        mLine.justification = mJustification;
        mGraphicsLine = false;
    }

    // Printing something other than text ends the text line waiting in the buffer.
    void endPendingText() {
        if (!mLine.runs.empty()) {
            flushLine();
        }
    }

    void addText(std::uint8_t b) {
        if (mLine.runs.empty()) {
            mLine.justification = mJustification;
            mLineStart = mPos;
        }
        if (mLine.runs.empty() || !(mLine.runs.back().style == mStyle) ||
            mLine.runs.back().codePage != mCodePage) {
            TextRun run;
            run.style = mStyle;
            run.codePage = mCodePage;
            mLine.runs.push_back(std::move(run));
        }
        mLine.runs.back().bytes += static_cast<char>(b);
    }

    bool flag(const char* name, bool& target) {
        if (!need(3)) {
            return false;
        }
        const std::uint8_t n = mBytes[mPos + 2];
        if (n != 0x00 && n != 0x01 && n != 0x30 && n != 0x31) {
            issue(mPos, std::string(name) + " parameter " + hex(mBytes.subspan(mPos + 2, 1)) +
                            " is neither on nor off; bit 0 used");
        }
        target = (n & 0x01) != 0;
        mPos += 3;
        return true;
    }

    bool step() {
        const std::uint8_t b = mBytes[mPos];
        switch (b) {
            case 0x0A:
                if (!mLine.runs.empty() || !mGraphicsLine) {
                    flushLine();
                }
                mGraphicsLine = false;
                ++mPos;
                return true;
            case 0x12:
                mStyle.wide = true;
                ++mPos;
                return true;
            case 0x13:
                mStyle.wide = false;
                ++mPos;
                return true;
            case 0x14:
                if (!need(2)) {
                    return false;
                }
                endPendingText();
                mDoc.elements.emplace_back(Feed{mBytes[mPos + 1]});
                mPos += 2;
                return true;
            case 0x1B:
                return escape();
            case 0x1D:
                return groupSeparator();
            case 0x1F:
                if (!need(2)) {
                    return false;
                }
                if (mBytes[mPos + 1] == 0x74) {
                    endPendingText();
                    mDoc.elements.emplace_back(ConfigPage{});
                } else {
                    issue(mPos, "unknown command " + hex(mBytes.subspan(mPos, 2)));
                }
                mPos += 2;
                return true;
            default:
                break;
        }
        if (b < 0x20 || b == 0x7F) {
            issue(mPos, "unknown control byte " + hex(mBytes.subspan(mPos, 1)));
        } else {
            addText(b);
        }
        ++mPos;
        return true;
    }

    bool escape() {
        if (!need(2)) {
            return false;
        }
        switch (mBytes[mPos + 1]) {
            case 0x61: {
                if (!need(3)) {
                    return false;
                }
                const std::uint8_t n = mBytes[mPos + 2];
                if (n == 0x30 || n == 0x00) {
                    mJustification = Justification::Left;
                } else if (n == 0x31 || n == 0x01) {
                    mJustification = Justification::Center;
                } else if (n == 0x32 || n == 0x02) {
                    mJustification = Justification::Right;
                } else {
                    issue(mPos, "unknown justification " + hex(mBytes.subspan(mPos + 2, 1)));
                }
                if (mLine.runs.empty()) {
                    mLine.justification = mJustification;
                }
                mPos += 3;
                return true;
            }
            case 0x45:
                return flag("bold", mStyle.bold);
            case 0x49:
                return flag("italic", mStyle.italic);
            case 0x2D:
                return flag("underline", mStyle.underline);
            case 0x52: {
                if (!need(3)) {
                    return false;
                }
                const std::uint8_t n = mBytes[mPos + 2];
                ++mDoc.codePageSwitches;
                if (n == 0x08) {
                    mCodePage = CodePage::Windows1252;
                } else {
                    if (n != 0x00) {
                        issue(mPos, "unknown code page " + hex(mBytes.subspan(mPos + 2, 1)) +
                                        "; default page used");
                    }
                    mCodePage = CodePage::Default;
                }
                mPos += 3;
                return true;
            }
            case 0x2A:
                return bitImage();
            case 0x69:
            case 0x6D:
                endPendingText();
                mDoc.elements.emplace_back(Cut{mBytes[mPos + 1] == 0x69});
                mPos += 2;
                return true;
            default:
                issue(mPos, "unknown command " + hex(mBytes.subspan(mPos, 2)));
                mPos += 2;
                return true;
        }
    }

    bool bitImage() {
        if (!need(5)) {
            return false;
        }
        const std::uint8_t mode = mBytes[mPos + 2];
        int rows = 0;
        if (mode == 0x00 || mode == 0x01) {
            rows = 8;
        } else if (mode == 0x20 || mode == 0x21) {
            rows = 24;
        } else {
            issue(mPos, "unknown bit-image mode " + hex(mBytes.subspan(mPos + 2, 1)) +
                            "; its data is read as text");
            mPos += 5;
            return true;
        }
        const int columns = mBytes[mPos + 3] + 256 * mBytes[mPos + 4];
        const std::size_t dataSize = static_cast<std::size_t>(columns) * (rows / 8);
        if (!need(5 + dataSize)) {
            return false;
        }
        endPendingText();
        RasterBand band;
        band.mode = mode;
        band.columns = columns;
        band.rows = rows;
        band.dotsPerColumn = (mode & 0x01) != 0 ? 1 : 2;
        band.justification = mJustification;
        band.data.assign(mBytes.begin() + static_cast<std::ptrdiff_t>(mPos + 5),
                         mBytes.begin() + static_cast<std::ptrdiff_t>(mPos + 5 + dataSize));
        mDoc.elements.emplace_back(std::move(band));
        mGraphicsLine = true;
        mPos += 5 + dataSize;
        return true;
    }

    bool groupSeparator() {
        if (!need(2)) {
            return false;
        }
        switch (mBytes[mPos + 1]) {
            case 0x42:
                return flag("inverse", mStyle.inverse);
            case 0x48: {
                if (!need(3)) {
                    return false;
                }
                const std::uint8_t n = mBytes[mPos + 2];
                if (n <= 3) {
                    mHri = n;
                } else if (n >= 0x30 && n <= 0x33) {
                    mHri = n - 0x30;
                } else {
                    issue(mPos, "unknown HRI position " + hex(mBytes.subspan(mPos + 2, 1)));
                }
                mPos += 3;
                return true;
            }
            case 0x68:
                if (!need(3)) {
                    return false;
                }
                mHeight = mBytes[mPos + 2];
                if (mHeight == 0) {
                    issue(mPos, "barcode height 0; one dot used");
                    mHeight = 1;
                }
                mPos += 3;
                return true;
            case 0x6B:
                return barcode();
            default:
                issue(mPos, "unknown command " + hex(mBytes.subspan(mPos, 2)));
                mPos += 2;
                return true;
        }
    }

    bool barcode() {
        if (!need(3)) {
            return false;
        }
        const std::uint8_t system = mBytes[mPos + 2];
        std::size_t end = mPos + 3;
        while (end < mBytes.size() && mBytes[end] != 0x00) {
            ++end;
        }
        if (end >= mBytes.size()) {
            issue(mPos, "barcode data not ended by 00 before the end of the job");
            mPos = mBytes.size();
            return false;
        }
        const std::size_t start = mPos;
        std::string data(mBytes.begin() + static_cast<std::ptrdiff_t>(mPos + 3),
                         mBytes.begin() + static_cast<std::ptrdiff_t>(end));
        mPos = end + 1;
        Barcode code;
        if (system == 0x00) {
            code.kind = BarcodeKind::UpcA;
        } else if (system == 0x04) {
            code.kind = BarcodeKind::Code39;
        } else if (system == 0x0A) {
            code.kind = BarcodeKind::Pdf417;
        } else {
            issue(start, "unknown barcode system " + hex(mBytes.subspan(start + 2, 1)) +
                             "; data \"" + data + "\" not printed");
            return true;
        }
        endPendingText();
        code.data = std::move(data);
        code.hri = mHri;
        code.height = mHeight;
        code.justification = mJustification;
        mDoc.elements.emplace_back(std::move(code));
        return true;
    }

    std::span<const std::uint8_t> mBytes;
    std::size_t mPos = 0;
    PrinterDocument mDoc;
    TextLine mLine;
    std::size_t mLineStart = 0;
    bool mGraphicsLine = false;
    TextStyle mStyle;
    Justification mJustification = Justification::Left;
    CodePage mCodePage = CodePage::Default;
    int mHri = 0;
    int mHeight = PrinterInterpreter::DEFAULT_BARCODE_HEIGHT;
};

}  // namespace

PrinterDocument PrinterInterpreter::interpret(std::span<const std::uint8_t> bytes) {
    return Interpretation(bytes).run();
}

}  // namespace vantoemu
