#pragma once

#include <cstdint>
#include <string>

namespace vantoconnect {

// What became of each packet of one receipt, for applications that must know whether the paper
// holds the whole receipt. onPrinterCompleted says only that the connection's work queue has
// got through the receipt's messages; it says nothing about whether the unit took them.
//
// Every data packet falls in exactly one of the five counts below, so packetsAcknowledged +
// packetsRefused + packetsUnrecognised + packetsUnanswered + packetsNotSent == packetsSent.
// A packet that was never acknowledged is counted as unrecognised when any of its attempts
// drew an answer nobody understands, otherwise as unanswered when its bytes went out and no
// answer came, otherwise as refused when the printer said it was not OK, otherwise as not sent
// (no attempt got its bytes to the unit).
struct WriteOutcome;

struct VantoDeliveryReport {
    // Given when the receipt is submitted: 1, 2, 3, ... for the life of the process (resilient
    // profile: for the facade).
    std::uint64_t receiptId = 0;
    // Data packets of the receipt handed to the connection (0 when it was dropped unprinted).
    std::int64_t packetsSent = 0;
    std::int64_t packetsAcknowledged = 0;
    std::int64_t packetsRefused = 0;
    std::int64_t packetsUnrecognised = 0;
    std::int64_t packetsNotSent = 0;
    // Went out, but the connection closed or fell silent before the unit answered: the printer
    // may hold them. Only the resilient profile, whose reads end, counts these.
    std::int64_t packetsUnanswered = 0;
    // The end-of-job message reached a connection (it is never acknowledged by the unit). The
    // resilient profile also waits for the unit to close that connection in order, which it does
    // only after reading the message; a unit that resets it instead has not ended the job.
    bool endOfJobSent = false;
    // Every data packet acknowledged and the end of job sent: the whole receipt reached the
    // printer. It is the only state in which an application should call the receipt printed.
    bool allAcknowledged = false;
    // Withdrawn before any of it was sent (Vanto::cancel, or the facade closed while it waited):
    // nothing of it is on paper.
    bool cancelled = false;

    // Adds one data packet to the count it belongs in.
    void countPacket(const WriteOutcome& outcome);
    // Sets allAcknowledged from the counts, once every packet and the end of job are in.
    void settle();

    // One line for people, for example "the unit refused 5 of 12 packets; the receipt is
    // incomplete" or "all 12 packets acknowledged".
    std::string summary() const;
};

}  // namespace vantoconnect
