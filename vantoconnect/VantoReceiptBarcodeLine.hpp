#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptLine.hpp"

namespace vantoconnect {

// A barcode. type is a BARCODE_TYPE_* value, hri the printer's human-readable-text position byte
// and height is in units of 154 dots (the default gives 54 dots).
class VantoReceiptBarcodeLine : public VantoReceiptLine {
  private:
    static constexpr std::int64_t HEIGHT_RADIO = 154;

  public:
    std::int64_t type = 0;
    std::int64_t hri = 2;
    double height = 54.0 / static_cast<double>(HEIGHT_RADIO);
    std::string data;

    VantoReceiptBarcodeLine() { lineType = VantoReceiptLineType::BARCODE; }
    VantoReceiptBarcodeLine(std::int64_t type, std::string data) : VantoReceiptBarcodeLine() {
        setType(type);
        setData(std::move(data));
    }
    // hri and height are accepted and left unused: applications written against this form
    // print with the default hri and height, and changing that would move their barcodes.
    // setHri and setHeight are the way to change them.
    VantoReceiptBarcodeLine(std::int64_t type, [[maybe_unused]] std::int64_t hri,
                            [[maybe_unused]] double height, std::string data)
        : VantoReceiptBarcodeLine(type, std::move(data)) {}

    void setType(std::int64_t type) {
        const auto lock = VantoReceipt::lockModel();
        this->type = type;
    }
    void setHri(std::int64_t hri) {
        const auto lock = VantoReceipt::lockModel();
        this->hri = hri;
    }
    void setHeight(double height) {
        const auto lock = VantoReceipt::lockModel();
        this->height = height;
    }
    void setData(std::string data) {
        const auto lock = VantoReceipt::lockModel();
        this->data = std::move(data);
    }
};

}  // namespace vantoconnect
