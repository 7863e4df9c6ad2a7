#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "vantoconnect/VantoReceiptLine.hpp"

namespace vantoconnect {

// One receipt: its lines in print order and four receipt-wide settings. The printer queue keeps
// the receipt itself (std::shared_ptr), not a copy, so changes made before it is composed are
// printed. Values are not checked here; out-of-range feeds stop composition.
class VantoReceipt {
  public:
    VantoReceipt() = default;

    const std::vector<std::shared_ptr<VantoReceiptLine>>& getLines() const { return lines; }
    // No check of type or duplicates: the same line may be added twice and prints twice.
    void addLine(std::shared_ptr<VantoReceiptLine> line) { lines.push_back(std::move(line)); }

    std::int64_t getCutType() const { return cutType; }
    void setCutType(std::int64_t cutType) { this->cutType = cutType; }
    std::int64_t getHeaderFeed() const { return headerFeed; }
    void setHeaderFeed(std::int64_t headerFeed) { this->headerFeed = headerFeed; }
    std::int64_t getFooterFeed() const { return footerFeed; }
    void setFooterFeed(std::int64_t footerFeed) { this->footerFeed = footerFeed; }

  private:
    // The logo flag is kept for compatibility with stored receipts but nothing prints a logo,
    // so it has no public way in or out.
    bool getLogoPrintStatus() const { return printLogo; }
    void setLogoPrintStatus(bool printLogo) { this->printLogo = printLogo; }

    std::vector<std::shared_ptr<VantoReceiptLine>> lines;
    std::int64_t cutType = 0;
    bool printLogo = true;
    std::int64_t headerFeed = 0;
    std::int64_t footerFeed = 12;
};

}  // namespace vantoconnect
