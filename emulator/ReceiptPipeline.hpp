#pragma once

// The printer's side of a finished job: interpret its bytes, draw the paper, write the PNG and
// the text file, and keep a bounded record of what was printed. Runs on a thread of its own so
// that drawing never holds up an answer on the wire.

// A standard header before asio: asio picks its allocator from the standard library's
// configuration, and a file that reached asio first would pick another one than the rest.
#include <cstddef>

#include <asio.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "emulator/EventLog.hpp"
#include "emulator/PrintJob.hpp"
#include "emulator/PrinterDocument.hpp"
#include "emulator/ReceiptRenderer.hpp"

namespace vantoemu {

struct PrintedReceipt {
    int number = 0;
    std::vector<std::uint8_t> bytes;  // the job's printer bytes, packets joined
    std::size_t packets = 0;
    bool incomplete = false;  // see PrintJob
    bool interleaved = false;
    std::vector<std::string> notes;
    PrinterDocument document;
    RenderedReceipt rendered;  // pixels and PNG are dropped for all but the latest receipts
    std::string pngPath;
    std::string textPath;
    std::chrono::system_clock::time_point printedAt;  // when it came off the paper

    bool complete() const { return !incomplete && !interleaved; }
    // The PNG: from memory while the unit keeps it there (the newest RECEIPTS_WITH_PIXELS),
    // else from its file in the output directory; nothing when neither has it.
    std::optional<std::vector<std::uint8_t>> picture() const;
    std::string marks() const { return jobMarks(incomplete, interleaved); }
};

class ReceiptPipeline {
  public:
    // How many receipts keep their pixels and PNG in memory.
    static constexpr std::size_t RECEIPTS_WITH_PIXELS = 16;
    // How many receipt records stay in memory at most; older ones live on disk only.
    static constexpr std::size_t RECEIPTS_IN_MEMORY = 64;

    struct Options {
        std::string outDir;          // empty: nothing is written
        bool renderReceipts = true;  // false: the text view only, no pixels
        std::size_t keep = 0;        // receipts kept on disk and in memory; 0: all on disk
    };

    ReceiptPipeline(Options options, EventLog& log);
    ~ReceiptPipeline();
    ReceiptPipeline(const ReceiptPipeline&) = delete;
    ReceiptPipeline& operator=(const ReceiptPipeline&) = delete;

    // Queues a finished job for the paper under the given receipt number.
    void print(PrintJob job, int number);
    // Returns once every job queued before the call is on paper.
    void drain();

    std::vector<PrintedReceipt> receipts() const;
    // The same records without the job's bytes, the document, pixels or PNG: cheap enough to
    // list on every look.
    std::vector<PrintedReceipt> records() const;
    // One receipt still in memory, with its PNG if it still has one but without pixels.
    std::optional<PrintedReceipt> receipt(int number) const;
    std::uint64_t printed() const;
    bool waitForReceipts(std::size_t count, std::chrono::milliseconds timeout) const;

  private:
    void finish(PrintJob job, int number);
    void writeFiles(PrintedReceipt& receipt, const std::string& text);
    void forget(int number);

    Options mOptions;
    EventLog& mLog;
    asio::io_context mIo;
    asio::executor_work_guard<asio::io_context::executor_type> mWork;
    std::thread mThread;

    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::deque<PrintedReceipt> mReceipts;
    std::uint64_t mPrinted = 0;
};

}  // namespace vantoemu
