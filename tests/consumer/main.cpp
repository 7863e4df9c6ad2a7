// The smallest program that links the library from another CMake project: it composes a
// receipt (text, a price line and an image) without touching the network.
#include <iostream>
#include <memory>
#include <vector>

#include "vantoconnect/vantoconnect.hpp"

int main() {
    using namespace vantoconnect;
    Vanto vanto;  // opens no connection
    auto receipt = std::make_shared<VantoReceipt>();
    receipt->addLine(std::make_shared<VantoReceiptTextLine>(
        "Hello", Vanto::TEXT_STYLE_BOLD, Vanto::TEXT_SIZE_NORMAL, Vanto::TEXT_POSITION_CENTER));
    receipt->addLine(std::make_shared<VantoReceiptPriceLine>("Caf\u00e9", 0, "1.00", 0));
    const std::vector<std::uint8_t> black(4 * 4 * 4, 0);
    receipt->addLine(std::make_shared<VantoReceiptImageLine>(Image::fromRGBA(4, 4, black)));
    setConsoleSink([](std::string_view) {});
    const auto groups = ReceiptComposer().compose(*receipt);
    // Header feed first, the full cut last.
    const bool ok = groups.size() > 4 && groups.front() == Bytes{0x14, 0x00} &&
                    groups.back() == Bytes{0x1B, 0x69};
    std::cout << (ok ? "ok" : "unexpected") << '\n';
    return 0;
}
