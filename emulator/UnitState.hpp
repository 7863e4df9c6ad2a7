#pragma once

// The unit itself: what each request does to its printer, drawer and output lines, how it is
// answered, and the faults it has been told to show. The server hands it every frame it reads;
// finished print jobs leave through the job handler.
//
// Thread-safe: frames arrive on the network thread, faults change from any thread.

// A standard header before asio: asio picks its allocator from the standard library's
// configuration, and a file that reached asio first would pick another one than the rest.
#include <cstddef>

#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "emulator/EventLog.hpp"
#include "emulator/FrameAnswer.hpp"
#include "emulator/PrintJob.hpp"
#include "emulator/PrintJobCollector.hpp"
#include "emulator/UnitSnapshot.hpp"

namespace vantoemu {

class UnitState {
  public:
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
    static constexpr std::uint8_t PRINTER_ERROR_FLAG = 0x01;  // content byte 7 of the answer
    static constexpr std::uint8_t DRAWER_CLOSED = 0x7F;
    static constexpr std::uint8_t DRAWER_OPEN = 0x3F;

    // A finished job and the receipt number it was given. Called under the unit's lock, so
    // that jobs leave in number order: it must only hand the job on.
    using JobHandler = std::function<void(PrintJob, int)>;

    UnitState(asio::io_context& io, EventLog& log, Faults faults,
              std::chrono::milliseconds drawerCloseAfter, std::chrono::milliseconds jobIdleGap);

    void setJobHandler(JobHandler handler);

    // One unframed message from `sender` (a peer address) on connection `connection`.
    FrameAnswer answer(std::span<const std::uint8_t> message, const std::string& sender,
                       std::uint64_t connection);

    // Puts on paper the jobs whose senders have fallen silent; the owner calls it regularly.
    void expireJobs();
    // What a reboot does to the unit: every open job goes on paper at once as it stands, since
    // the rest of it can never come. The output lines, the drawer and the faults are kept.
    void restarted();
    // When it stops listening for good: the same for its open jobs, so nothing received is lost.
    void stopped();
    std::chrono::milliseconds jobIdleGap() const;
    void setJobIdleGap(std::chrono::milliseconds gap);

    Faults faults() const;
    void setFaults(const Faults& faults);
    void setPrinterCondition(PrinterCondition condition);
    void setPrinterNotReadyPolls(int polls);
    void setPrinterErrorReplies(int replies);
    void setReplyMode(ReplyMode mode);
    void corruptNextReplies(int replies);
    void setReplyDelay(std::chrono::milliseconds delay);
    void setRefuseConnections(bool refuse);
    void dropNextConnections(int connections);
    bool refusesConnections() const;

    void openDrawer(const std::string& cause);
    // Closes the drawer unless it has been opened again since `generation` (0: always).
    void closeDrawer(const std::string& cause, std::uint64_t generation);
    void setDrawerCloseAfter(std::chrono::milliseconds after);

    // Fills in the unit's part of a snapshot.
    void fill(UnitSnapshot& snapshot) const;
    int receiptsNumbered() const;

  private:
    using Message = std::vector<std::uint8_t>;

    void handle(std::span<const std::uint8_t> message, const std::string& sender,
                std::uint64_t connection, FrameAnswer& answer);
    void printerData(std::span<const std::uint8_t> message, std::uint8_t tag,
                     std::span<const std::uint8_t> content, const std::string& sender,
                     std::uint64_t connection, FrameAnswer& answer);
    // Frames the next reply not yet framed with the wire faults in force; false when the
    // sender cannot read it as the reply it asked for (withheld, replaced or corrupted).
    bool reply(std::span<const std::uint8_t> request, std::uint64_t connection,
               FrameAnswer& answer);
    void ignore(std::span<const std::uint8_t> message, const std::string& reason,
                FrameAnswer& answer);
    void finishJobs(std::vector<PrintJob> jobs);
    // Takes jobs from the collector under the state's lock, then finishes them outside it.
    void finishJobsTaken(const std::function<std::vector<PrintJob>(PrintJobCollector&)>& take);
    void applyIo(std::uint32_t mask, std::uint32_t values);
    void faultChanged(const std::string& what, nlohmann::json value);

    asio::io_context& mIo;
    EventLog& mLog;
    asio::steady_timer mDrawerTimer;
    JobHandler mJobHandler;

    mutable std::mutex mMutex;  // guards everything below
    Faults mFaults;
    std::uint32_t mOutputLines = 0;
    bool mDrawerOpen = false;
    std::uint64_t mDrawerOpenings = 0;
    std::uint64_t mDrawerGeneration = 0;
    std::chrono::milliseconds mDrawerCloseAfter{0};
    PrintJobCollector mJobs;
    int mJobCount = 0;
    std::uint64_t mReplyCount = 0;
};

}  // namespace vantoemu
