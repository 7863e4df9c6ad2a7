#include "cli/DeviceCommands.hpp"

#include <atomic>
#include <iostream>

#include "cli/CliError.hpp"
#include "cli/LibraryConsole.hpp"
#include "cli/UnitLock.hpp"
#include "receipts/DeviceRequestCheck.hpp"
#include "receipts/Names.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"

namespace vantocli {

using namespace vantoconnect;
using namespace vantoreceipts;

namespace {

// The port-control answer's content: byte 6 says whether the printer takes data, byte 7 flags a
// printer that needs a person (cover open, out of paper).
constexpr std::size_t PRINTER_STATE_BYTE = 6;
constexpr std::size_t PRINTER_ERROR_BYTE = 7;
constexpr std::uint8_t PRINTER_READY = 0x04;
constexpr std::uint8_t PRINTER_ERROR_FLAG = 0x01;
constexpr std::int64_t PRINTER_STATUS_TIMEOUT_MS = 2000;
// The library's write makes this many attempts, each ending in one such line when it fails.
constexpr int WRITE_ATTEMPTS = 5;
constexpr std::string_view WRITE_FAILED = "EXCEPTION ON WRITE PACKAGE OR RESPONSE: ";
constexpr std::string_view UNCONFIRMED = " (the unit does not confirm it)";

std::string drawerWord(std::int64_t status) {
    if (status == Vanto::CASH_DRAWER_STATUS_OPENED) {
        return "open";
    }
    return status == Vanto::CASH_DRAWER_STATUS_CLOSED ? "closed" : std::to_string(status);
}

// The unit answered, but not with what was asked for.
[[noreturn]] void unitFailed(const VantoError& error) {
    throw CliError(CliError::FAILED,
                   error.message().empty() ? error.description() : error.message());
}

// Counts the library's failed write attempts: a fire-and-forget request whose every attempt
// failed never left this machine, and must not be reported as sent.
class WriteWatch {
  public:
    explicit WriteWatch(bool verbose)
        : mConsole(verbose, [this](std::string_view line) {
              if (line.starts_with(WRITE_FAILED)) {
                  ++mFailures;
              }
          }) {}

    // After the session has drained: throws when no attempt got the request out.
    void sent(const UnitSession& session, const std::string& what) const {
        if (mFailures >= WRITE_ATTEMPTS) {
            throw CliError(CliError::UNREACHABLE, what + " not sent: the unit at " +
                                                      session.address().text() +
                                                      " did not take the request in " +
                                                      std::to_string(WRITE_ATTEMPTS) + " attempts");
        }
        std::cout << "sent: " << what << UNCONFIRMED << '\n';
    }

  private:
    std::atomic<int> mFailures{0};
    LibraryConsole mConsole;
};

}  // namespace

void DeviceCommands::drawerStatus(const UnitAddress& unit, bool verbose) {
    LibraryConsole console(verbose);
    UnitSession session(unit);
    session.watchdog().saw("to the drawer status request");
    try {
        std::cout << drawerWord(session.vanto().cashDrawerStatus()) << '\n';
    } catch (const VantoError& e) {
        unitFailed(e);
    }
}

void DeviceCommands::drawerOpen(const UnitAddress& unit, bool validate, bool verbose) {
    WriteWatch watch(verbose);
    UnitSession session(unit);
    session.watchdog().saw(validate ? "to the drawer status request" : "while sending the pulse");
    bool pulsed = false;
    try {
        pulsed = session.vanto().openCashDrawer(validate);
    } catch (const VantoError& e) {
        unitFailed(e);
    }
    if (!pulsed) {
        std::cout << "the drawer is already open; nothing sent\n";
        return;
    }
    session.watchdog().saw("while sending the pulse");
    session.drain();
    watch.sent(session, validate ? "open pulse to the closed drawer"
                                 : "open pulse without asking the drawer's state");
}

void DeviceCommands::ledDiagnostic(const UnitAddress& unit, const std::string& position,
                                   const std::string& colour, bool verbose) {
    const auto p = Names::parse(Names::diagnosticPositions(), position, "LED position");
    const auto c = Names::parse(Names::ledColours(), colour, "LED colour");
    DeviceRequestCheck::diagnosticLed(p, c);
    WriteWatch watch(verbose);
    UnitSession session(unit);
    session.watchdog().saw("while sending the LED request");
    session.vanto().setDiagnosticLed(p, c);
    session.drain();
    watch.sent(session, Names::nameOf(Names::diagnosticPositions(), p) + " LED " +
                            Names::nameOf(Names::ledColours(), c));
}

void DeviceCommands::ledCosmetic(const UnitAddress& unit, const std::string& colour, bool verbose) {
    const auto c = Names::parse(Names::cosmeticColours(), colour, "cosmetic colour");
    WriteWatch watch(verbose);
    UnitSession session(unit);
    session.watchdog().saw("while sending the light request");
    session.vanto().setCosmeticLedCol(c);
    session.drain();
    watch.sent(session, "cosmetic light " + Names::nameOf(Names::cosmeticColours(), c));
}

void DeviceCommands::usb(const UnitAddress& unit, bool on, bool verbose) {
    WriteWatch watch(verbose);
    UnitSession session(unit);
    session.watchdog().saw("while sending the USB request");
    if (on) {
        session.vanto().enableUSB();
    } else {
        session.vanto().disableUSB();
    }
    session.drain();
    watch.sent(session, std::string("USB power ") + (on ? "on" : "off"));
}

void DeviceCommands::printerStatus(const UnitAddress& unit, bool verbose) {
    LibraryConsole console(verbose);
    UnitSession session(unit);
    session.watchdog().saw("to the printer status request");
    // The facade's printerBusy() folds every answer into one flag; the port-control answer
    // itself also tells a printer that needs a person from one that is merely busy.
    SwitchDataMessage message{Bytes{}};
    const Bytes request = MessageBuilder(message)
                              .withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
                              .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
                              .withType(MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND)
                              .withTagNumber(0)
                              .build();
    const Bytes reply = session.manager()->writeAndResponseRaw(request, ORBAMessage::GETPCONTROL,
                                                               PRINTER_STATUS_TIMEOUT_MS);
    LinkDecoder16 decoder;
    decoder.setCRCEnable(true);
    decoder.setLengthSize(LinkEncoder::LENGTH_12BIT);
    for (const ByteLump& frame : decoder.processByteLump(ByteLump(reply), 0)) {
        const ORBAMessage answer(frame.payload);
        const Bytes content = answer.getMessageSpecificContent();
        if (answer.getType() != MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND ||
            content.size() <= PRINTER_ERROR_BYTE) {
            continue;
        }
        const auto state = static_cast<std::uint8_t>(content[PRINTER_STATE_BYTE]);
        const auto error = static_cast<std::uint8_t>(content[PRINTER_ERROR_BYTE]);
        if (error & PRINTER_ERROR_FLAG) {
            std::cout << "error (the printer needs attention: cover open or out of paper)\n";
        } else {
            std::cout << (state == PRINTER_READY ? "ready" : "not ready") << '\n';
        }
        return;
    }
    throw CliError(CliError::UNREACHABLE, "the unit at " + unit.text() +
                                              " gave no printer status within " +
                                              std::to_string(PRINTER_STATUS_TIMEOUT_MS) + " ms");
}

void DeviceCommands::printerConfigPage(const UnitAddress& unit, bool verbose) {
    UnitLock lock(unit);
    WriteWatch watch(verbose);
    UnitSession session(unit);
    session.watchdog().saw("while sending the configuration page request");
    // The facade offers no configuration page; the printer controller does.
    VantoPrinterController printer(session.manager());
    printer.printConfigPage();
    session.drain();
    watch.sent(session, "configuration page request");
}

}  // namespace vantocli
