#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "vantoconnect/VantoReceiptLine.hpp"

namespace vantoconnect {

// One receipt: its lines in print order and four receipt-wide settings. The printer queue keeps
// the receipt itself (std::shared_ptr), not a copy, so changes made before it is composed are
// printed. Values are not checked here; out-of-range feeds stop composition.
//
// The printer queue composes on its own thread while the application may still be changing the
// receipt. One lock guards the whole receipt model: every setter of a receipt or of a line and
// addLine take it, and composition holds it from the first line to the cut, so a receipt is
// printed either wholly before or wholly after a change. Lines may be shared between receipts,
// which is why the lock is one for the model and not one per receipt.
//
// The public fields of the line classes (text, style, data, lines, chr, image, lineType, ...)
// cannot take the lock. Writing them directly after print() while the receipt may be composing
// is a data race of the application's own; use the setters, or hold lockModel() around the
// writes.
class VantoReceipt {
  public:
    VantoReceipt() = default;

    // The lock of the receipt model. It may be taken again by the thread that holds it.
    [[nodiscard]] static std::unique_lock<std::recursive_mutex> lockModel();

    // A copy of the list as it is now: lines added later do not appear in it.
    std::vector<std::shared_ptr<VantoReceiptLine>> getLines() const {
        const auto lock = lockModel();
        return lines;
    }
    // No check of type or duplicates: the same line may be added twice and prints twice.
    void addLine(std::shared_ptr<VantoReceiptLine> line) {
        const auto lock = lockModel();
        lines.push_back(std::move(line));
    }

    std::int64_t getCutType() const {
        const auto lock = lockModel();
        return cutType;
    }
    void setCutType(std::int64_t cutType) {
        const auto lock = lockModel();
        this->cutType = cutType;
    }
    std::int64_t getHeaderFeed() const {
        const auto lock = lockModel();
        return headerFeed;
    }
    void setHeaderFeed(std::int64_t headerFeed) {
        const auto lock = lockModel();
        this->headerFeed = headerFeed;
    }
    std::int64_t getFooterFeed() const {
        const auto lock = lockModel();
        return footerFeed;
    }
    void setFooterFeed(std::int64_t footerFeed) {
        const auto lock = lockModel();
        this->footerFeed = footerFeed;
    }

  private:
    // The logo flag is kept for compatibility with stored receipts but nothing prints a logo,
    // so it has no public way in or out.
    bool getLogoPrintStatus() const {
        const auto lock = lockModel();
        return printLogo;
    }
    void setLogoPrintStatus(bool printLogo) {
        const auto lock = lockModel();
        this->printLogo = printLogo;
    }

    std::vector<std::shared_ptr<VantoReceiptLine>> lines;
    std::int64_t cutType = 0;
    bool printLogo = true;
    std::int64_t headerFeed = 0;
    std::int64_t footerFeed = 12;
};

}  // namespace vantoconnect
