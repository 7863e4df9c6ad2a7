#pragma once

// `vanto demo`: starts an emulated unit on loopback, drives it through every operation of the
// library's facade with a line of output for each, prints one receipt with every kind of line,
// and leaves the rendered paper in OUT/receipt.png. The resilient profile unless asked for the
// classic one.

#include <filesystem>
#include <memory>

#include "receipts/CheckedFacade.hpp"
#include "vantoconnect/VantoReceipt.hpp"

namespace vantocli {

class DemoCommand {
  public:
    static void run(const std::filesystem::path& outDir, vantoreceipts::Profile profile);

    // The demo's receipt: every line kind, an image and the three barcode types.
    static std::shared_ptr<vantoconnect::VantoReceipt> demoReceipt();
};

}  // namespace vantocli
