#include "vantoconnect/VantoDeliveryReport.hpp"

#include <vector>

#include "vantoconnect/connection/WriteOutcome.hpp"

namespace vantoconnect {
namespace {

std::string packets(std::int64_t count) {
    return std::to_string(count) + (count == 1 ? " packet" : " packets");
}

}  // namespace

void VantoDeliveryReport::countPacket(const WriteOutcome& outcome) {
    if (outcome.delivered) {
        ++packetsAcknowledged;
    } else if (outcome.unrecognised > 0) {
        ++packetsUnrecognised;
    } else if (outcome.unanswered > 0) {
        ++packetsUnanswered;
    } else if (outcome.refused > 0) {
        ++packetsRefused;
    } else {
        ++packetsNotSent;
    }
}

void VantoDeliveryReport::settle() {
    allAcknowledged = packetsSent > 0 && packetsAcknowledged == packetsSent && endOfJobSent;
}

std::string VantoDeliveryReport::summary() const {
    if (cancelled) {
        return "cancelled before it was sent; nothing was printed";
    }
    if (allAcknowledged) {
        return "all " + packets(packetsSent) + " acknowledged";
    }
    if (packetsSent == 0) {
        return "nothing was sent; the receipt was not printed";
    }
    const std::string of = " of " + std::to_string(packetsSent);
    std::vector<std::string> parts;
    if (packetsRefused > 0) {
        parts.push_back("the unit refused " + std::to_string(packetsRefused) + of + " packets");
    }
    if (packetsUnrecognised > 0) {
        parts.push_back("the unit gave no recognisable answer to " +
                        std::to_string(packetsUnrecognised) + of + " packets");
    }
    if (packetsUnanswered > 0) {
        parts.push_back(std::to_string(packetsUnanswered) + of +
                        " packets went out but no answer came (they may have printed)");
    }
    if (packetsNotSent > 0) {
        parts.push_back(std::to_string(packetsNotSent) + of + " packets never reached the unit");
    }
    if (!endOfJobSent) {
        parts.push_back("the end of the job could not be sent");
    }
    std::string line;
    for (const std::string& part : parts) {
        line += (line.empty() ? "" : ", ") + part;
    }
    // Refused packets and packets that never left are missing for certain; one whose answer was
    // lost, or not understood, may well be on paper.
    const bool missing = packetsRefused > 0 || packetsNotSent > 0;
    return line + (missing ? "; the receipt is incomplete" : "; the receipt may be incomplete");
}

}  // namespace vantoconnect
