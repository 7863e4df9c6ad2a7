#pragma once

// `vanto demo`: starts an emulated unit on loopback, drives it through every operation of the
// library's facade with a line of output for each, prints one receipt with every kind of line,
// and leaves the rendered paper in OUT/receipt.png.

#include <filesystem>
#include <memory>

#include "vantoconnect/VantoReceipt.hpp"

namespace vantocli {

class DemoCommand {
  public:
    static void run(const std::filesystem::path& outDir);

    // The demo's receipt: every line kind, an image and the three barcode types.
    static std::shared_ptr<vantoconnect::VantoReceipt> demoReceipt();
};

}  // namespace vantocli
