#pragma once

// One print job as the printer collected it from the wire, with what is known about its
// wholeness. The collector makes it; the receipt pipeline turns it into paper.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vantoemu {

struct PrintJob {
    std::string sender;  // the peer address the packets came from
    std::vector<std::uint8_t> bytes;
    std::size_t packets = 0;
    // Some of the job never arrived: a tag was skipped, the job was cut off before its end came
    // (its sender fell silent or began another job, or the unit restarted), or the end came
    // with nothing before it, or it ended without the cut every receipt ends with (its sender
    // gave up halfway and still sent the end). Neither mark set means that the packets came
    // from the first tag on, unbroken, ending with a cut, and an end closed them.
    bool incomplete = false;
    // Packets of another job from the same address arrived while this one was open, and the
    // tags alone cannot say for certain which job each of them belonged to.
    bool interleaved = false;
    std::vector<std::string> notes;  // why it is marked, in the order things were noticed

    void markIncomplete(std::string why) {
        incomplete = true;
        notes.push_back(std::move(why));
    }
    void markInterleaved(std::string why) {
        if (!interleaved) {
            interleaved = true;
            notes.push_back(std::move(why));
        }
    }
};

// "complete", "incomplete", "interleaved" or "incomplete, interleaved".
inline std::string jobMarks(bool incomplete, bool interleaved) {
    if (incomplete && interleaved) {
        return "incomplete, interleaved";
    }
    if (incomplete) {
        return "incomplete";
    }
    return interleaved ? "interleaved" : "complete";
}

}  // namespace vantoemu
