#pragma once

// The delivery report in its C form and back. The fields are the same list in C++, C and Python.

#include "vantoconnect/VantoDeliveryReport.hpp"
#include "vantoconnect/vanto.h"

namespace vantoc {

inline vanto_delivery_report toC(const vantoconnect::VantoDeliveryReport& report) {
    vanto_delivery_report c{};
    c.receipt_id = report.receiptId;
    c.packets_sent = report.packetsSent;
    c.packets_acknowledged = report.packetsAcknowledged;
    c.packets_refused = report.packetsRefused;
    c.packets_unrecognised = report.packetsUnrecognised;
    c.packets_not_sent = report.packetsNotSent;
    c.end_of_job_sent = report.endOfJobSent ? 1 : 0;
    c.all_acknowledged = report.allAcknowledged ? 1 : 0;
    return c;
}

inline vantoconnect::VantoDeliveryReport fromC(const vanto_delivery_report& c) {
    vantoconnect::VantoDeliveryReport report;
    report.receiptId = c.receipt_id;
    report.packetsSent = c.packets_sent;
    report.packetsAcknowledged = c.packets_acknowledged;
    report.packetsRefused = c.packets_refused;
    report.packetsUnrecognised = c.packets_unrecognised;
    report.packetsNotSent = c.packets_not_sent;
    report.endOfJobSent = c.end_of_job_sent != 0;
    report.allAcknowledged = c.all_acknowledged != 0;
    return report;
}

}  // namespace vantoc
