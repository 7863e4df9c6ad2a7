#pragma once

// What the unit makes of one received frame, for the connection that carried it.

#include <chrono>
#include <cstdint>
#include <vector>

namespace vantoemu {

struct FrameAnswer {
    struct Write {
        std::vector<std::uint8_t> frame;  // framed, faults applied, written in one write
        std::chrono::milliseconds delay{0};
    };
    std::vector<Write> writes;
    // The unframed replies the request called for, before any fault was applied.
    std::vector<std::vector<std::uint8_t>> replies;
    // The sender waits for an answer that is not coming (withheld, or a request the unit has
    // no function for): its connection must never be closed under it.
    bool answerOwed = false;
    // The connection is to be closed now, unanswered: the request took effect, the answer is
    // lost on the way.
    bool dropConnection = false;
    // How many of the replies have had the wire faults applied and gone to `writes`.
    std::size_t framed = 0;
};

}  // namespace vantoemu
