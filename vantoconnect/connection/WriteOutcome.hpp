#pragma once

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
};

}  // namespace vantoconnect
