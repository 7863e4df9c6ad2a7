#pragma once

// The subcommands that drive one device of a unit: drawer, led, usb, printer.

#include <string>

#include "cli/UnitSession.hpp"

namespace vantocli {

class DeviceCommands {
  public:
    static void drawerStatus(const SessionOptions& unit, bool verbose);
    static void drawerOpen(const SessionOptions& unit, bool validate, bool verbose);
    static void ledDiagnostic(const SessionOptions& unit, const std::string& position,
                              const std::string& colour, bool verbose);
    static void ledCosmetic(const SessionOptions& unit, const std::string& colour, bool verbose);
    static void usb(const SessionOptions& unit, bool on, bool verbose);
    static void printerStatus(const SessionOptions& unit, bool verbose);
    static void printerConfigPage(const SessionOptions& unit, bool verbose);
};

}  // namespace vantocli
