#pragma once

// The delivery report in its C form and back. The fields are the same list in C++, C and Python.
// A caller's report is read and written only as far as its struct_size reaches.

#include <algorithm>

#include "StructSize.hpp"
#include "vantoconnect/VantoDeliveryReport.hpp"
#include "vantoconnect/vanto.h"

namespace vantoc {

// Every field after struct_size, for copyHeld.
template <typename Copy>
void eachReportField(Copy&& copy) {
    using R = vanto_delivery_report;
    copy(&R::receipt_id, &R::packets_sent, &R::packets_acknowledged, &R::packets_refused,
         &R::packets_unrecognised, &R::packets_unanswered, &R::packets_not_sent,
         &R::end_of_job_sent, &R::all_acknowledged, &R::cancelled);
}

inline vanto_delivery_report toC(const vantoconnect::VantoDeliveryReport& report) {
    vanto_delivery_report c = VANTO_DELIVERY_REPORT_INIT;
    c.receipt_id = report.receiptId;
    c.packets_sent = report.packetsSent;
    c.packets_acknowledged = report.packetsAcknowledged;
    c.packets_refused = report.packetsRefused;
    c.packets_unrecognised = report.packetsUnrecognised;
    c.packets_unanswered = report.packetsUnanswered;
    c.packets_not_sent = report.packetsNotSent;
    c.end_of_job_sent = report.endOfJobSent ? 1 : 0;
    c.all_acknowledged = report.allAcknowledged ? 1 : 0;
    c.cancelled = report.cancelled ? 1 : 0;
    return c;
}

// Into the caller's struct, as far as it reaches; its struct_size then says how far that was
// (a caller newer than this library learns which fields were not filled).
inline void writeTo(vanto_delivery_report& out, const vantoconnect::VantoDeliveryReport& report) {
    const std::size_t size = checkedSize(out.struct_size, "report");
    const vanto_delivery_report full = toC(report);
    eachReportField([&](auto... fields) { copyHeld(size, full, out, fields...); });
    out.struct_size = std::min(size, sizeof(vanto_delivery_report));
}

// The caller's report; the fields its struct_size does not reach count as 0.
inline vantoconnect::VantoDeliveryReport fromC(const vanto_delivery_report& given) {
    const std::size_t size = checkedSize(given.struct_size, "report");
    vanto_delivery_report c = VANTO_DELIVERY_REPORT_INIT;
    eachReportField([&](auto... fields) { copyHeld(size, given, c, fields...); });
    vantoconnect::VantoDeliveryReport report;
    report.receiptId = c.receipt_id;
    report.packetsSent = c.packets_sent;
    report.packetsAcknowledged = c.packets_acknowledged;
    report.packetsRefused = c.packets_refused;
    report.packetsUnrecognised = c.packets_unrecognised;
    report.packetsUnanswered = c.packets_unanswered;
    report.packetsNotSent = c.packets_not_sent;
    report.endOfJobSent = c.end_of_job_sent != 0;
    report.allAcknowledged = c.all_acknowledged != 0;
    report.cancelled = c.cancelled != 0;
    return report;
}

}  // namespace vantoc
