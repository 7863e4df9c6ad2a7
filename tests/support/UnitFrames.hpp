#pragma once

// The frames the fake unit answers with and expects, as the library writes them.

#include <cstdint>
#include <numeric>
#include <vector>

#include "tests/support/FakeUnit.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect::testing {

template <typename Sequence>
Sequence concat(Sequence head, const Sequence& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

// A port-control answer whose content is `size` bytes with `state` at content byte 6.
inline UBytes portControlReply(std::size_t size, std::int8_t state) {
    Bytes content(size, 0);
    if (size > 6) {
        content[6] = state;
    }
    return FakeUnit::frame(FakeUnit::message(0x61, content));
}
inline const UBytes PRINTER_READY = portControlReply(18, 0x04);
inline const UBytes PRINTER_NOT_READY = portControlReply(18, 0x00);
// The unit acknowledges with a switch-data response carrying a tag; tag 0 reads as an error.
inline const UBytes PRINT_ACKNOWLEDGED = FakeUnit::frame(FakeUnit::message(0x4E, {}, true, 1));

// Printer-channel switch data from the host with the given tag.
inline UBytes printerFrame(std::int8_t tag, const Bytes& data) {
    return FakeUnit::frame(concat<Bytes>({0x12, 0x02, 0x4E, tag}, data));
}
inline const UBytes END_OF_JOB = printerFrame(0, {0x00});
inline const UBytes PRINTER_BUSY_QUERY = FakeUnit::frame({0x12, 0x02, 0x61, 0x00});
inline const UBytes DRAWER_STATUS_REQUEST =
    FakeUnit::frame(concat<Bytes>({0x1C, 0x02, 0x61, 0x00}, Bytes(18, 0)));
inline const UBytes DRAWER_PULSE =
    FakeUnit::frame({0x1C, 0x02, 0x4E, 0x00, 0x1B, 0x70, 0x00, -1, -1});

// What each connection brought, once as many connections and bytes as `expected` holds have
// arrived (or the wait has timed out), for comparison with `expected`, one frame per connection.
inline std::vector<UBytes> receivedLike(const FakeUnit& unit, const std::vector<UBytes>& expected) {
    unit.waitForConnections(expected.size());
    unit.waitForBytes(
        std::accumulate(expected.begin(), expected.end(), std::size_t{0},
                        [](std::size_t n, const UBytes& frame) { return n + frame.size(); }));
    std::vector<UBytes> out;
    for (std::size_t k = 0; k < unit.connectionCount(); ++k) {
        out.push_back(unit.received(k));
    }
    return out;
}

}  // namespace vantoconnect::testing
