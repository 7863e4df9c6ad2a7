#pragma once

// A software Vanto unit on TCP. It answers the library exactly as the hub does (printer data
// acknowledgements, printer and drawer port-control answers, IO-state answers), keeps the state
// of its LEDs, lights, USB power, solenoid and drawer, collects print jobs and renders each
// finished job to a PNG and a text file. Faults can be switched on to see how the library copes.
//
// It is assembled from three rooms: the server (UnitServer, UnitConnection) on the wire, the
// unit (UnitState, PrintJobCollector) with its state and faults, and the printer's pipeline
// (ReceiptPipeline) that puts finished jobs on paper, and, when asked for, the dashboard
// (DashboardServer) that shows all of it in a browser and changes faults through the calls
// below.
//
// Everything here is thread-safe: the server runs on its own thread, rendering on another.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "emulator/EventLog.hpp"
#include "emulator/PrinterDocument.hpp"
#include "emulator/ReceiptPipeline.hpp"
#include "emulator/ReceiptRenderer.hpp"
#include "emulator/UnitOptions.hpp"
#include "emulator/UnitSnapshot.hpp"
#include "emulator/UnitState.hpp"

namespace vantoemu {

class EmulatedUnit {
  public:
    static constexpr std::size_t RECEIPTS_WITH_PIXELS = ReceiptPipeline::RECEIPTS_WITH_PIXELS;
    // A short reboot: long enough for a client to meet refused connects, short enough for tests.
    static constexpr std::chrono::milliseconds DEFAULT_RESTART_DOWNTIME{2000};

    static constexpr std::uint8_t CHANNEL_PRINTER = UnitState::CHANNEL_PRINTER;
    static constexpr std::uint8_t CHANNEL_IO = UnitState::CHANNEL_IO;
    static constexpr std::uint8_t CHANNEL_DRAWER = UnitState::CHANNEL_DRAWER;
    static constexpr std::uint8_t TYPE_SET_IO_STATE = UnitState::TYPE_SET_IO_STATE;
    static constexpr std::uint8_t TYPE_SWITCH_DATA = UnitState::TYPE_SWITCH_DATA;
    static constexpr std::uint8_t TYPE_PORT_CONTROL = UnitState::TYPE_PORT_CONTROL;
    static constexpr std::uint8_t TYPE_UNRECOGNISED = UnitState::TYPE_UNRECOGNISED;
    static constexpr std::size_t PORT_CONTROL_CONTENT = UnitState::PORT_CONTROL_CONTENT;
    static constexpr std::uint8_t PRINTER_READY = UnitState::PRINTER_READY;
    static constexpr std::uint8_t PRINTER_NOT_READY = UnitState::PRINTER_NOT_READY;
    static constexpr std::uint8_t PRINTER_ERROR_FLAG = UnitState::PRINTER_ERROR_FLAG;
    static constexpr std::uint8_t DRAWER_CLOSED = UnitState::DRAWER_CLOSED;
    static constexpr std::uint8_t DRAWER_OPEN = UnitState::DRAWER_OPEN;

    // Creates the output directory and event log; throws std::runtime_error when it cannot.
    explicit EmulatedUnit(UnitOptions options = {});
    ~EmulatedUnit();
    EmulatedUnit(const EmulatedUnit&) = delete;
    EmulatedUnit& operator=(const EmulatedUnit&) = delete;

    // Starts listening, and serving the dashboard when the options ask for it; throws
    // std::runtime_error when either address cannot be bound.
    void start();
    // Closes the listener and every connection; waits for rendering in progress.
    void stop();
    // A reboot: every connection is closed at once, connects are refused for `downtime` (at
    // most a day), and then the unit listens again on the same address and port (the one
    // picked, when it was started on port 0). A job cut off by it goes on paper at once, marked
    // incomplete; the LEDs, lights, USB power, drawer, faults and receipts stay as they were.
    // Returns once everything is closed, without waiting for the downtime; a restart meanwhile
    // starts the downtime afresh. Throws std::logic_error when the unit is not started.
    void restart(std::chrono::milliseconds downtime = DEFAULT_RESTART_DOWNTIME);
    // Whether it listens: false before start, after stop and during a restart's downtime.
    bool running() const;
    std::uint16_t port() const;
    std::string address() const;
    // The dashboard's port while it serves, else 0; and the address a browser should open.
    std::uint16_t dashboardPort() const;
    std::string dashboardUrl() const;

    UnitSnapshot snapshot() const;

    void setFaults(const Faults& faults);
    void setPrinterCondition(PrinterCondition condition);
    void setPrinterNotReadyPolls(int polls);
    void setPrinterErrorReplies(int replies);
    void setReplyMode(ReplyMode mode);
    void corruptNextReplies(int replies);
    void setReplyDelay(std::chrono::milliseconds delay);
    void setRefuseConnections(bool refuse);
    // The next `connections` connections that carry a request are closed as soon as it has
    // been read, unanswered (see Faults::dropConnections).
    void dropNextConnections(int connections);
    void setJobIdleGap(std::chrono::milliseconds gap);

    void openDrawer();
    void closeDrawer();
    void setDrawerCloseAfter(std::chrono::milliseconds after);

    // Handles one unframed message as if it had arrived from `sender`, and returns the
    // unframed replies it calls for (before any network fault is applied).
    std::vector<std::vector<std::uint8_t>> handleMessage(std::span<const std::uint8_t> message,
                                                         const std::string& sender = "local");

    // The newest receipts (at most ReceiptPipeline::RECEIPTS_IN_MEMORY, or the keep limit),
    // oldest first; older ones are on disk only.
    std::vector<PrintedReceipt> receipts() const;
    // The same without bytes, documents, pixels or PNGs.
    std::vector<PrintedReceipt> receiptRecords() const;
    // A receipt still in memory by number, with its PNG while it has one, without pixels.
    std::optional<PrintedReceipt> receipt(int number) const;
    // Waits until `count` receipts have been printed since the unit was made. A negative
    // timeout, or one of years, waits for ever.
    bool waitForReceipts(std::size_t count, std::chrono::milliseconds timeout) const;

    std::vector<UnitEvent> events() const;
    std::size_t eventCount(const std::string& kind) const;
    bool waitForEvents(const std::string& kind, std::size_t count,
                       std::chrono::milliseconds timeout) const;
    // The owner's listener (one; an empty function removes it).
    void setEventListener(std::function<void(const UnitEvent&)> listener);

  private:
    struct Parts;
    std::unique_ptr<Parts> mParts;
};

}  // namespace vantoemu
