#include "cli/DeviceCommands.hpp"

#include <iostream>

#include "cli/CliError.hpp"
#include "cli/LibraryConsole.hpp"
#include "cli/Names.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/orbaprotocol/messages/OrbaIOState.hpp"

namespace vantocli {

using namespace vantoconnect;

namespace {
std::string drawerWord(std::int64_t status) {
    if (status == Vanto::CASH_DRAWER_STATUS_OPENED) {
        return "open";
    }
    return status == Vanto::CASH_DRAWER_STATUS_CLOSED ? "closed" : std::to_string(status);
}

bool fitsSignedBytes(std::int64_t word) {
    for (int k = 0; k < 4; ++k) {
        if (((word >> (8 * k)) & 0xFF) >= 0x80) {
            return false;
        }
    }
    return true;
}

// The unit answered, but not with what was asked for.
[[noreturn]] void unitFailed(const VantoError& error) {
    throw CliError(CliError::FAILED,
                   error.message().empty() ? error.description() : error.message());
}
}  // namespace

void DeviceCommands::drawerStatus(const UnitAddress& unit, bool verbose) {
    LibraryConsole console(verbose);
    UnitSession session(unit);
    try {
        std::cout << drawerWord(session.vanto().cashDrawerStatus()) << '\n';
    } catch (const VantoError& e) {
        unitFailed(e);
    }
}

void DeviceCommands::drawerOpen(const UnitAddress& unit, bool validate, bool verbose) {
    LibraryConsole console(verbose);
    UnitSession session(unit);
    try {
        if (session.vanto().openCashDrawer(validate)) {
            std::cout << "open pulse sent\n";
        } else {
            std::cout << "the drawer is already open; nothing sent\n";
        }
    } catch (const VantoError& e) {
        unitFailed(e);
    }
}

void DeviceCommands::ledDiagnostic(const UnitAddress& unit, const std::string& position,
                                   const std::string& colour, bool verbose) {
    const auto p = Names::parse(Names::diagnosticPositions(), position, "LED position");
    const auto c = Names::parse(Names::ledColours(), colour, "LED colour");
    if (p < 0 || p > 15) {
        throw CliError(CliError::BAD_INPUT, "LED position " + position + " is outside 0...15");
    }
    // The request carries a 2-bit mask and the colour at bit 2 x position in words whose bytes
    // must each stay below 0x80 (LED_PED's mask is the byte 0xC0): the library stops the process
    // on anything else. Refuse it here with a reason instead.
    if (c != OrbaIOState::NA_NUMBER &&
        !(fitsSignedBytes(3LL << (2 * p)) && c >= 0 && c <= 3 && fitsSignedBytes(c << (2 * p)))) {
        throw CliError(CliError::BAD_INPUT,
                       Names::nameOf(Names::diagnosticPositions(), p) + " cannot be set to " +
                           Names::nameOf(Names::ledColours(), c) +
                           ": a byte of the request's mask or colour would be 0x80 or more, "
                           "which the library's IO message cannot carry");
    }
    LibraryConsole console(verbose);
    UnitSession session(unit);
    session.vanto().setDiagnosticLed(p, c);
    session.drain();
    std::cout << Names::nameOf(Names::diagnosticPositions(), p) << " set to "
              << Names::nameOf(Names::ledColours(), c) << '\n';
}

void DeviceCommands::ledCosmetic(const UnitAddress& unit, const std::string& colour, bool verbose) {
    const auto c = Names::parse(Names::cosmeticColours(), colour, "cosmetic colour");
    LibraryConsole console(verbose);
    UnitSession session(unit);
    session.vanto().setCosmeticLedCol(c);
    session.drain();
    std::cout << "cosmetic light set to " << Names::nameOf(Names::cosmeticColours(), c) << '\n';
}

void DeviceCommands::usb(const UnitAddress& unit, bool on, bool verbose) {
    LibraryConsole console(verbose);
    UnitSession session(unit);
    if (on) {
        session.vanto().enableUSB();
    } else {
        session.vanto().disableUSB();
    }
    session.drain();
    std::cout << "USB power " << (on ? "on" : "off") << '\n';
}

void DeviceCommands::printerStatus(const UnitAddress& unit, bool verbose) {
    LibraryConsole console(verbose);
    UnitSession session(unit);
    std::cout << (session.vanto().printerBusy() ? "busy" : "ready") << '\n';
}

void DeviceCommands::printerConfigPage(const UnitAddress& unit, bool verbose) {
    LibraryConsole console(verbose);
    UnitSession session(unit);
    // The facade offers no configuration page; the printer controller does.
    VantoPrinterController printer(session.manager());
    printer.printConfigPage();
    session.drain();
    std::cout << "configuration page sent\n";
}

}  // namespace vantocli
