#pragma once

// A software Vanto unit on TCP. It answers the library exactly as the hub does (printer data
// acknowledgements, printer and drawer port-control answers, IO-state answers), keeps the state
// of its LEDs, lights, USB power, solenoid and drawer, collects print jobs and renders each
// finished job to a PNG and a text file. Faults can be switched on to see how the library copes.
//
// Everything here is thread-safe: the server runs on its own thread, rendering on another.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "emulator/EventLog.hpp"
#include "emulator/PrinterDocument.hpp"
#include "emulator/ReceiptRenderer.hpp"
#include "emulator/UnitSnapshot.hpp"

namespace vantoemu {

struct UnitOptions {
    std::string bind = "127.0.0.1";
    std::uint16_t port = 8080;   // 0 picks a free port; read it back with port()
    std::string outDir = "out";  // empty: nothing is written to disk
    std::chrono::milliseconds drawerCloseAfter{5000};  // zero: stays open until closeDrawer()
    bool renderReceipts = true;
    Faults faults;
};

struct PrintedReceipt {
    int number = 0;
    std::vector<std::uint8_t> bytes;  // the job's printer bytes, packets joined
    std::size_t packets = 0;
    PrinterDocument document;
    RenderedReceipt rendered;  // pixels and PNG are dropped for all but the latest receipts
    std::string pngPath;
    std::string textPath;
};

class EmulatedUnit {
  public:
    // How many receipts keep their pixels and PNG in memory.
    static constexpr std::size_t RECEIPTS_WITH_PIXELS = 16;

    static constexpr std::uint8_t CHANNEL_PRINTER = 2;
    static constexpr std::uint8_t CHANNEL_IO = 11;
    static constexpr std::uint8_t CHANNEL_DRAWER = 12;
    static constexpr std::uint8_t TYPE_SET_IO_STATE = 0x49;
    static constexpr std::uint8_t TYPE_SWITCH_DATA = 0x4E;
    static constexpr std::uint8_t TYPE_PORT_CONTROL = 0x61;
    static constexpr std::uint8_t TYPE_UNRECOGNISED = 0x3F;
    static constexpr std::size_t PORT_CONTROL_CONTENT = 18;
    static constexpr std::uint8_t PRINTER_READY = 0x04;
    static constexpr std::uint8_t PRINTER_NOT_READY = 0x00;
    static constexpr std::uint8_t DRAWER_CLOSED = 0x7F;
    static constexpr std::uint8_t DRAWER_OPEN = 0x3F;

    // Creates the output directory and event log; throws std::runtime_error when it cannot.
    explicit EmulatedUnit(UnitOptions options = {});
    ~EmulatedUnit();
    EmulatedUnit(const EmulatedUnit&) = delete;
    EmulatedUnit& operator=(const EmulatedUnit&) = delete;

    // Starts listening; throws std::runtime_error when the address cannot be bound.
    void start();
    // Closes the listener and every connection; waits for rendering in progress.
    void stop();
    bool running() const;
    std::uint16_t port() const;
    std::string address() const;

    UnitSnapshot snapshot() const;

    void setFaults(const Faults& faults);
    void setPrinterCondition(PrinterCondition condition);
    void setPrinterNotReadyPolls(int polls);
    void setPrinterErrorReplies(int replies);
    void setReplyMode(ReplyMode mode);
    void corruptNextReplies(int replies);
    void setReplyDelay(std::chrono::milliseconds delay);
    void setRefuseConnections(bool refuse);

    void openDrawer();
    void closeDrawer();
    void setDrawerCloseAfter(std::chrono::milliseconds after);

    // Handles one unframed message as if it had arrived, and returns the unframed replies it
    // calls for (before any network fault is applied).
    std::vector<std::vector<std::uint8_t>> handleMessage(std::span<const std::uint8_t> message);

    std::vector<PrintedReceipt> receipts() const;
    bool waitForReceipts(std::size_t count, std::chrono::milliseconds timeout) const;

    std::vector<UnitEvent> events() const;
    std::size_t eventCount(const std::string& kind) const;
    bool waitForEvents(const std::string& kind, std::size_t count,
                       std::chrono::milliseconds timeout) const;
    void setEventListener(std::function<void(const UnitEvent&)> listener);

  private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace vantoemu
