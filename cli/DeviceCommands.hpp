#pragma once

// The subcommands that drive one device of a unit: drawer, led, usb, printer.

#include <string>

#include "cli/UnitSession.hpp"

namespace vantocli {

class DeviceCommands {
  public:
    static void drawerStatus(const UnitAddress& unit, bool verbose);
    static void drawerOpen(const UnitAddress& unit, bool validate, bool verbose);
    static void ledDiagnostic(const UnitAddress& unit, const std::string& position,
                              const std::string& colour, bool verbose);
    static void ledCosmetic(const UnitAddress& unit, const std::string& colour, bool verbose);
    static void usb(const UnitAddress& unit, bool on, bool verbose);
    static void printerStatus(const UnitAddress& unit, bool verbose);
    static void printerConfigPage(const UnitAddress& unit, bool verbose);
};

}  // namespace vantocli
