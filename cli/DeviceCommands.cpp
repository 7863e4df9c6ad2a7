#include "cli/DeviceCommands.hpp"

#include <atomic>
#include <iostream>
#include <mutex>
#include <string>

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
// Both libraries try a request that does not reach the unit this many times.
constexpr int WRITE_ATTEMPTS = 5;
constexpr std::string_view WRITE_FAILED = "EXCEPTION ON WRITE PACKAGE OR RESPONSE: ";
constexpr std::string_view UNCONFIRMED = " (the unit does not confirm it)";

std::string drawerWord(std::int64_t status) {
    if (status == Vanto::CASH_DRAWER_STATUS_OPENED) {
        return "open";
    }
    return status == Vanto::CASH_DRAWER_STATUS_CLOSED ? "closed" : std::to_string(status);
}

// Says what became of a fire-and-forget request, which the unit never confirms: sent, or not
// sent at all, in which case it must not be reported as sent.
class WriteWatch {
  public:
    // The classic library makes this many attempts, each ending in one WRITE_FAILED line when
    // it fails. The resilient one reports each failed attempt as a line naming the unit, and
    // its connection status says whether the last exchange got through.
    explicit WriteWatch(const SessionOptions& unit, bool verbose)
        : mConsole(verbose, [this, resilient = !unit.classic(),
                             address = unit.text()](std::string_view line) {
              if (line.starts_with(WRITE_FAILED)) {
                  ++mFailures;
              } else if (resilient && line.find(address) != std::string_view::npos) {
                  std::lock_guard lock(mMutex);
                  mLastFailure = line;
              }
          }) {}

    // After the session has drained: throws when no attempt got the request out.
    void sent(UnitSession& session, const std::string& what) {
        if (mFailures >= WRITE_ATTEMPTS || !session.lastExchangeReachedUnit()) {
            std::lock_guard lock(mMutex);
            throw CliError(CliError::UNREACHABLE,
                           what + " not sent: the unit at " + session.options().text() +
                               " did not take the request in " + std::to_string(WRITE_ATTEMPTS) +
                               " attempts" +
                               (mLastFailure.empty() ? "" : " (" + mLastFailure + ")"));
        }
        std::cout << "sent: " << what << UNCONFIRMED << '\n';
    }

  private:
    std::atomic<int> mFailures{0};
    std::mutex mMutex;
    std::string mLastFailure;
    LibraryConsole mConsole;
};

}  // namespace

void DeviceCommands::drawerStatus(const SessionOptions& unit, bool verbose) {
    LibraryConsole console(verbose);
    UnitSession session(unit);
    session.watchdog().saw("to the drawer status request");
    try {
        std::cout << drawerWord(session.vanto().cashDrawerStatus()) << '\n';
    } catch (const VantoError& e) {
        throw session.failure(e, "the drawer status request");
    }
}

void DeviceCommands::drawerOpen(const SessionOptions& unit, bool validate, bool verbose) {
    WriteWatch watch(unit, verbose);
    UnitSession session(unit);
    session.watchdog().saw(validate ? "to the drawer status request" : "while sending the pulse");
    bool pulsed = false;
    try {
        pulsed = session.vanto().openCashDrawer(validate);
    } catch (const VantoError& e) {
        throw session.failure(e, "the drawer status request");
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

void DeviceCommands::ledDiagnostic(const SessionOptions& unit, const std::string& position,
                                   const std::string& colour, bool verbose) {
    const auto p = Names::parse(Names::diagnosticPositions(), position, "LED position");
    const auto c = Names::parse(Names::ledColours(), colour, "LED colour");
    DeviceRequestCheck::diagnosticLed(p, c);
    WriteWatch watch(unit, verbose);
    UnitSession session(unit);
    session.watchdog().saw("while sending the LED request");
    session.vanto().setDiagnosticLed(p, c);
    session.drain();
    watch.sent(session, Names::nameOf(Names::diagnosticPositions(), p) + " LED " +
                            Names::nameOf(Names::ledColours(), c));
}

void DeviceCommands::ledCosmetic(const SessionOptions& unit, const std::string& colour,
                                 bool verbose) {
    const auto c = Names::parse(Names::cosmeticColours(), colour, "cosmetic colour");
    WriteWatch watch(unit, verbose);
    UnitSession session(unit);
    session.watchdog().saw("while sending the light request");
    session.vanto().setCosmeticLedCol(c);
    session.drain();
    watch.sent(session, "cosmetic light " + Names::nameOf(Names::cosmeticColours(), c));
}

void DeviceCommands::usb(const SessionOptions& unit, bool on, bool verbose) {
    WriteWatch watch(unit, verbose);
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

void DeviceCommands::printerStatus(const SessionOptions& unit, bool verbose) {
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
    Bytes reply;
    try {
        reply = session.manager()->writeAndResponseRaw(request, ORBAMessage::GETPCONTROL,
                                                       PRINTER_STATUS_TIMEOUT_MS);
    } catch (const VantoError& e) {
        // Only the resilient library throws here; the classic one waits or ends the process.
        throw session.failure(e, "the printer status request");
    }
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

void DeviceCommands::printerConfigPage(const SessionOptions& unit, bool verbose) {
    UnitLock lock(unit);
    WriteWatch watch(unit, verbose);
    UnitSession session(unit);
    session.watchdog().saw("while sending the configuration page request");
    // The facade offers no configuration page; the printer controller does.
    VantoPrinterController printer(session.manager());
    printer.printConfigPage();
    session.drain();
    watch.sent(session, "configuration page request");
}

}  // namespace vantocli
