#pragma once

// The printer's side of the device protocol, as frames ready for the wire: a receipt's byte
// groups packed into packets, each packet a tagged switch-data message to the printer's serial
// port, the end-of-job message and the busy query. Both printer queues send exactly these.

#include <cstdint>
#include <vector>

#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class PrinterPackets {
  public:
    static constexpr std::int64_t PACKET_SIZE = 1024;

    // Packs byte groups into packets of at most PACKET_SIZE bytes without splitting a group: a
    // packet is exactly the concatenation of whole groups. An empty group or one longer than a
    // packet stops the process.
    static std::vector<Bytes> wrap(const std::vector<Bytes>& groups);

    // Tags of data packets cycle 1..15: tag 0 marks the control messages.
    static std::int8_t nextTag(std::int8_t tag);

    // One packet of printer bytes, acknowledged by the unit when it takes it.
    static Bytes dataFrame(const Bytes& packet, std::int8_t channel, std::int8_t tag);
    // The lone byte 0x00 with tag 0 that ends a job; the unit does not answer it.
    static Bytes endOfJobFrame();
    // The port-control query whose answer says whether the printer is ready.
    static Bytes busyQueryFrame();
};

}  // namespace vantoconnect
