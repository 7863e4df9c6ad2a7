#include "receipts/DeviceRequestCheck.hpp"

#include <string>

#include "receipts/Names.hpp"
#include "receipts/ReceiptInputError.hpp"

namespace vantoreceipts {

namespace {

// The IO message stores its 32-bit words byte by byte as signed bytes.
bool fitsSignedBytes(std::int64_t word) {
    for (int k = 0; k < 4; ++k) {
        if (((word >> (8 * k)) & 0xFF) >= 0x80) {
            return false;
        }
    }
    return true;
}

}  // namespace

void DeviceRequestCheck::diagnosticLed(std::int64_t position, std::int64_t colour) {
    Names::require(Names::diagnosticPositions(), position, "LED position");
    Names::require(Names::ledColours(), colour, "LED colour");
    // Each position owns two bits at 2 x position of the request's mask and value words.
    if (!(fitsSignedBytes(3LL << (2 * position)) && fitsSignedBytes(colour << (2 * position)))) {
        throw ReceiptInputError(Names::nameOf(Names::diagnosticPositions(), position) +
                                " cannot be set to " + Names::nameOf(Names::ledColours(), colour) +
                                ": a byte of the request's mask or colour would be 0x80 or more, "
                                "which the library's IO message cannot carry");
    }
}

void DeviceRequestCheck::cosmeticColour(std::int64_t colour) {
    Names::require(Names::cosmeticColours(), colour, "cosmetic colour");
}

void DeviceRequestCheck::port(std::int64_t port) {
    if (port < 1 || port > 65535) {
        throw ReceiptInputError("port must lie in 1...65535, not " + std::to_string(port));
    }
}

}  // namespace vantoreceipts
