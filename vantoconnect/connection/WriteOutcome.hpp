#pragma once

#include <string>

namespace vantoconnect {

// What the attempts of one queued write saw, for callers that account for every message they
// hand to the connection. Counting changes nothing on the wire or on the console.
struct WriteOutcome {
    // Acknowledged, or, when no acknowledgement was wanted, written to a connection.
    bool delivered = false;
    // Answers saying the printer is not OK.
    int refused = 0;
    // Answers that neither acknowledged nor refused.
    int unrecognised = 0;
    // Attempts whose bytes went out but whose answer never came: the connection closed or the
    // read's time limit passed. The unit may have taken the message. (A manager whose reads have
    // no time limit and end the process on a closed connection never counts one.)
    int unanswered = 0;
    // Why the last attempt failed, in words for people; empty when it did not.
    std::string failure;
};

}  // namespace vantoconnect
