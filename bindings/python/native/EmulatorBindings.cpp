// The emulated unit (wrapped by vantoconnect.Emulator): its faults by the words of the vanto
// emulate command, what it shows, and the receipts it printed, as plain Python values.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Bindings.hpp"
#include "GilFreeDelete.hpp"
#include "emulator/UnitSnapshot.hpp"
#include "receipts/CheckedUnit.hpp"

namespace vantopy {

namespace {

using Release = py::call_guard<py::gil_scoped_release>;
using vantoemu::EmulatedUnit;
using vantoreceipts::CheckedUnit;

py::bytes bytesOf(const std::vector<std::uint8_t>& data) {
    return py::bytes(reinterpret_cast<const char*>(data.data()), data.size());
}

py::list receiptsOf(const EmulatedUnit& unit) {
    std::vector<vantoemu::PrintedReceipt> receipts;
    std::vector<std::optional<std::vector<std::uint8_t>>> pictures;
    {
        const py::gil_scoped_release released;
        receipts = unit.receipts();
        for (const auto& receipt : receipts) {
            pictures.push_back(receipt.picture());
        }
    }
    py::list out;
    for (std::size_t i = 0; i < receipts.size(); ++i) {
        const auto& receipt = receipts[i];
        py::dict fields;
        fields["number"] = receipt.number;
        fields["text"] = receipt.rendered.text;
        fields["png"] = pictures[i] ? py::object(bytesOf(*pictures[i])) : py::object(py::none());
        fields["data"] = bytesOf(receipt.bytes);
        fields["packets"] = receipt.packets;
        fields["incomplete"] = receipt.incomplete;
        fields["interleaved"] = receipt.interleaved;
        fields["notes"] = py::cast(receipt.notes);
        out.append(std::move(fields));
    }
    return out;
}

py::dict stateOf(const EmulatedUnit& unit) {
    vantoemu::UnitSnapshot snapshot;
    {
        const py::gil_scoped_release released;
        snapshot = unit.snapshot();
    }
    py::dict leds;
    for (const auto& led : snapshot.diagnosticLeds) {
        leds[py::int_(led.position)] = led.colour;
    }
    const vantoemu::Faults& faults = snapshot.faults;
    py::dict state;
    state["leds"] = leds;
    state["cosmetic"] = snapshot.cosmeticColour;
    state["usb_power"] = snapshot.usbPower;
    state["drawer_open"] = snapshot.drawerOpen;
    state["drawer_close_after_ms"] = snapshot.drawerCloseAfter.count();
    state["printer_state"] = vantoemu::printerConditionWord(faults.printer);
    state["printer_not_ready"] = faults.printerNotReadyPolls;
    state["printer_error"] = faults.printerErrorReplies;
    state["reply"] = vantoemu::replyModeName(faults.replyMode);
    state["corrupt_crc"] = faults.corruptCrcReplies;
    state["delay_ms"] = faults.replyDelay.count();
    state["refuse"] = faults.refuseConnections;
    state["receipts"] = snapshot.receipts;
    state["drop_next"] = faults.dropConnections;
    state["restarting"] = snapshot.restarting;
    return state;
}

// The faults go in with the settings, so the unit starts with them and its event log does not
// open with a change for each.
std::unique_ptr<CheckedUnit, GilFreeDelete> makeUnit(
    const std::string& bind, std::int64_t port, const std::string& outDir, std::int64_t keep,
    std::int64_t drawerCloseAfterMs, const std::string& printerState, std::int64_t printerNotReady,
    std::int64_t printerError, const std::string& reply, std::int64_t corruptCrc,
    std::int64_t delayMs, bool refuse, std::int64_t dropNext, std::int64_t maxConnections,
    bool render) {
    const CheckedUnit::Settings settings{.bind = bind,
                                         .port = port,
                                         .outDir = outDir,
                                         .keep = keep,
                                         .drawerCloseAfterMs = drawerCloseAfterMs,
                                         .printer = CheckedUnit::printerState(printerState),
                                         .printerNotReady = printerNotReady,
                                         .printerError = printerError,
                                         .reply = CheckedUnit::replyMode(reply),
                                         .corruptCrc = corruptCrc,
                                         .delayMs = delayMs,
                                         .refuse = refuse,
                                         .dropNext = dropNext,
                                         .maxConnections = maxConnections,
                                         .render = render};
    const py::gil_scoped_release released;
    return std::unique_ptr<CheckedUnit, GilFreeDelete>(new CheckedUnit(settings));
}

}  // namespace

void bindEmulator(py::module_& module) {
    const auto unitOf = [](CheckedUnit& checked) -> EmulatedUnit& { return checked.unit(); };
    py::class_<CheckedUnit, std::unique_ptr<CheckedUnit, GilFreeDelete>>(
        module, "_Unit", "The emulated unit; use vantoconnect.Emulator.")
        .def(py::init(&makeUnit), py::arg("bind"), py::arg("port"), py::arg("out_dir"),
             py::arg("keep"), py::arg("drawer_close_after_ms"), py::arg("printer_state"),
             py::arg("printer_not_ready"), py::arg("printer_error"), py::arg("reply"),
             py::arg("corrupt_crc"), py::arg("delay_ms"), py::arg("refuse"), py::arg("drop_next"),
             py::arg("max_connections"), py::arg("render"))
        .def("start", &CheckedUnit::start, Release())
        .def("stop", &CheckedUnit::stop, Release())
        .def(
            "running", [=](CheckedUnit& u) { return unitOf(u).running(); }, Release())
        .def(
            "port", [=](CheckedUnit& u) { return unitOf(u).port(); }, Release())
        .def(
            "address", [=](CheckedUnit& u) { return unitOf(u).address(); }, Release())
        .def("state", [=](CheckedUnit& u) { return stateOf(unitOf(u)); })
        .def("receipts", [=](CheckedUnit& u) { return receiptsOf(unitOf(u)); })
        .def("events",
             [=](CheckedUnit& u) {
                 std::vector<std::string> lines;
                 {
                     const py::gil_scoped_release released;
                     for (auto& event : unitOf(u).events()) {
                         lines.push_back(std::move(event.json));
                     }
                 }
                 return lines;
             })
        .def("wait_for_receipts", &CheckedUnit::waitForReceipts, py::arg("count"),
             py::arg("timeout_ms"), Release())
        .def(
            "set_printer_state",
            [=](CheckedUnit& u, const std::string& word) {
                const auto condition = CheckedUnit::printerState(word);
                const py::gil_scoped_release released;
                unitOf(u).setPrinterCondition(condition);
            },
            py::arg("word"))
        .def(
            "set_reply",
            [=](CheckedUnit& u, const std::string& word) {
                const auto mode = CheckedUnit::replyMode(word);
                const py::gil_scoped_release released;
                unitOf(u).setReplyMode(mode);
            },
            py::arg("word"))
        .def("set_printer_not_ready", &CheckedUnit::setPrinterNotReadyPolls, py::arg("polls"),
             Release())
        .def("set_printer_error", &CheckedUnit::setPrinterErrorReplies, py::arg("packets"),
             Release())
        .def("set_corrupt_crc", &CheckedUnit::corruptNextReplies, py::arg("replies"), Release())
        .def("set_delay_ms", &CheckedUnit::setReplyDelay, py::arg("ms"), Release())
        .def(
            "set_refuse",
            [=](CheckedUnit& u, bool refuse) { unitOf(u).setRefuseConnections(refuse); },
            py::arg("refuse"), Release())
        .def("set_drawer_close_after_ms", &CheckedUnit::setDrawerCloseAfter, py::arg("ms"),
             Release())
        .def("set_drop_next", &CheckedUnit::dropNextConnections, py::arg("connections"), Release())
        .def("restart", &CheckedUnit::restart, py::arg("ms"), Release())
        .def(
            "open_drawer", [=](CheckedUnit& u) { unitOf(u).openDrawer(); }, Release())
        .def(
            "close_drawer", [=](CheckedUnit& u) { unitOf(u).closeDrawer(); }, Release());
}

}  // namespace vantopy
