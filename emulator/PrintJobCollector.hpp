#pragma once

// Turns the printer packets that arrive on the wire into jobs. The library sends each packet
// on a fresh connection with a tag that counts 1..15 and wraps, resends a packet whose answer
// it could not read, and ends a job with a lone tag-0 packet that is not answered. Packets of
// one job therefore cannot be tied together by connection, only by the sender's address and
// the tag sequence; this class keeps one open job per tag sequence it can follow.
//
// Not thread-safe: the unit calls it under its own lock.

#include <chrono>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "emulator/PrintJob.hpp"

namespace vantoemu {

class PrintJobCollector {
  public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::uint8_t LAST_TAG = 15;

    enum class Outcome {
        Kept,    // appended to a job
        Resent,  // the same packet again after an answer the sender could not read
    };

    struct Accepted {
        Outcome outcome = Outcome::Kept;
        std::uint64_t job = 0;  // the open job it went to
        std::string note;       // what was noticed about it, empty when nothing
        // Jobs whose waiting end this packet told apart, finished now, in paper order.
        std::vector<PrintJob> finished;
    };

    // A job with no packet for longer than `idleGap` was abandoned by its sender.
    explicit PrintJobCollector(std::chrono::milliseconds idleGap);

    void setIdleGap(std::chrono::milliseconds idleGap) { mIdleGap = idleGap; }
    std::chrono::milliseconds idleGap() const { return mIdleGap; }

    // A data packet the printer accepted (refused packets never reach the collector).
    Accepted data(const std::string& sender, std::uint8_t tag,
                  std::span<const std::uint8_t> content, Clock::time_point now);

    // Whether the answer to the packet last kept for `job` went out as an acknowledgement the
    // sender can read. A repeat after one that it could not read is a resend; a repeat after
    // one it could read is another sender.
    void answered(std::uint64_t job, bool readableAcknowledgement);

    // The end of a job from `sender`: the jobs finished by it, in paper order (jobs found cut
    // off first). An end with no open job gives an empty, incomplete job. With several jobs
    // open at the address the end cannot say whose it is; it waits until only one of them
    // stops getting packets, and those are finished by later calls.
    std::vector<PrintJob> endOfJob(const std::string& sender, Clock::time_point now);

    // Jobs whose sender has been silent for longer than the idle gap, finished as incomplete,
    // and ends that could not be told apart within END_WAIT, given to the job that heard from
    // its sender last.
    std::vector<PrintJob> expire(Clock::time_point now);

    // A printer status query from `sender`. The library asks before it sends a receipt, never
    // while it sends one, so a tag 1 after the query starts a new job even where an open job
    // of the sender ended at tag 15 and would take tag 1 next.
    void statusQuery(const std::string& sender);

    // The unit restarted: the ends waiting to be told apart go to the jobs heard from last, as
    // END_WAIT would have them, and every job still open is finished as incomplete, in the
    // order the jobs began. Nothing of them is remembered afterwards.
    std::vector<PrintJob> restart();
    // The same for any end of the unit's listening (it stops): `why` is the note they carry.
    std::vector<PrintJob> cutOff(const std::string& why);

    // The library sends the next packet within milliseconds of an acknowledgement.
    static constexpr std::chrono::seconds END_WAIT{2};

    std::size_t pendingBytes() const;

  private:
    struct Open {
        std::uint64_t id = 0;
        PrintJob job;
        std::uint8_t lastTag = 0;
        std::vector<std::uint8_t> lastPacket;
        bool lastReadable = true;
        std::uint64_t firstSeq = 0;  // arrival order of its first and latest packets
        std::uint64_t lastSeq = 0;
        Clock::time_point lastActivity;
    };

    struct PendingEnd {
        std::uint64_t seq = 0;
        Clock::time_point at;
    };

    struct Sender {
        std::vector<Open> jobs;
        std::vector<PendingEnd> ends;  // oldest first
        std::uint64_t querySeq = 0;    // arrival order of its latest status query
    };

    static std::uint8_t nextTag(std::uint8_t tag) { return tag >= LAST_TAG ? 1 : tag + 1; }

    Open& open(std::vector<Open>& jobs, const std::string& sender, Clock::time_point now);
    // Finishes the jobs that the waiting ends can be told to belong to.
    void resolveEnds(Sender& sender, std::vector<PrintJob>& finished);
    void finish(Sender& sender, std::uint64_t id, std::vector<PrintJob>& finished);
    // Gives the oldest waiting end to the job that heard from its sender last before it.
    void settleOldestEnd(Sender& sender, std::vector<PrintJob>& finished);
    void append(Open& job, std::uint8_t tag, std::span<const std::uint8_t> content,
                Clock::time_point now);
    // Marks `job` and every other open job of the sender whose packets overlap its own.
    static void markOverlaps(std::vector<Open>& jobs, Open& job);

    std::chrono::milliseconds mIdleGap;
    std::map<std::string, Sender> mOpen;
    std::uint64_t mNextId = 0;
    std::uint64_t mSeq = 0;
};

}  // namespace vantoemu
