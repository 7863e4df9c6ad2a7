// The emulated unit (wrapped by vantoconnect.Emulator): its faults by the words of the vanto
// emulate command, what it shows, and the receipts it printed, as plain Python values.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Bindings.hpp"
#include "GilFreeDelete.hpp"
#include "emulator/EmulatedUnit.hpp"
#include "emulator/UnitOptions.hpp"
#include "emulator/UnitSnapshot.hpp"

namespace vantopy {

namespace {

using Release = py::call_guard<py::gil_scoped_release>;
using std::chrono::milliseconds;
using vantoemu::EmulatedUnit;

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
    state["drop_next"] = faults.dropConnections;
    state["restarting"] = snapshot.restarting;
    state["receipts"] = snapshot.receipts;
    return state;
}

vantoemu::PrinterCondition printerCondition(const std::string& word) {
    const auto condition = vantoemu::printerConditionFromWord(word);
    if (!condition) {
        throw py::value_error(
            "printer_state must be \"ready\", \"not-ready\" or \"error\", not \"" + word + "\"");
    }
    return *condition;
}

vantoemu::ReplyMode replyMode(const std::string& word) {
    const auto mode = vantoemu::replyModeFromWord(word);
    if (!mode) {
        throw py::value_error("reply must be \"normal\", \"silent\" or \"unrecognised\", not \"" +
                              word + "\"");
    }
    return *mode;
}

// The faults go in with the options, so the unit starts with them and its event log does not
// open with a change for each.
std::unique_ptr<EmulatedUnit, GilFreeDelete> makeUnit(
    const std::string& bind, std::uint16_t port, const std::string& outDir, std::size_t keep,
    std::int64_t drawerCloseAfterMs, const std::string& printerState, int printerNotReady,
    int printerError, const std::string& reply, int corruptCrc, std::int64_t delayMs, bool refuse,
    int dropNext, std::size_t maxConnections, bool render) {
    vantoemu::UnitOptions options;
    options.bind = bind;
    options.port = port;
    options.outDir = outDir;
    options.keep = keep;
    options.drawerCloseAfter = milliseconds(drawerCloseAfterMs);
    options.faults.printer = printerCondition(printerState);
    options.faults.printerNotReadyPolls = printerNotReady;
    options.faults.printerErrorReplies = printerError;
    options.faults.replyMode = replyMode(reply);
    options.faults.corruptCrcReplies = corruptCrc;
    options.faults.replyDelay = milliseconds(delayMs);
    options.faults.refuseConnections = refuse;
    options.faults.dropConnections = dropNext;
    options.maxConnections = maxConnections;
    options.renderReceipts = render;
    const py::gil_scoped_release released;
    return std::unique_ptr<EmulatedUnit, GilFreeDelete>(new EmulatedUnit(options));
}

}  // namespace

void bindEmulator(py::module_& module) {
    py::class_<EmulatedUnit, std::unique_ptr<EmulatedUnit, GilFreeDelete>>(
        module, "_Unit", "The emulated unit; use vantoconnect.Emulator.")
        .def(py::init(&makeUnit), py::arg("bind"), py::arg("port"), py::arg("out_dir"),
             py::arg("keep"), py::arg("drawer_close_after_ms"), py::arg("printer_state"),
             py::arg("printer_not_ready"), py::arg("printer_error"), py::arg("reply"),
             py::arg("corrupt_crc"), py::arg("delay_ms"), py::arg("refuse"), py::arg("drop_next"),
             py::arg("max_connections"), py::arg("render"))
        .def("start", &EmulatedUnit::start, Release())
        .def("stop", &EmulatedUnit::stop, Release())
        .def("running", &EmulatedUnit::running, Release())
        .def("port", &EmulatedUnit::port, Release())
        .def("address", &EmulatedUnit::address, Release())
        .def("state", &stateOf)
        .def("receipts", &receiptsOf)
        .def("events",
             [](const EmulatedUnit& unit) {
                 std::vector<std::string> lines;
                 {
                     const py::gil_scoped_release released;
                     for (auto& event : unit.events()) {
                         lines.push_back(std::move(event.json));
                     }
                 }
                 return lines;
             })
        .def(
            "wait_for_receipts",
            [](const EmulatedUnit& unit, std::size_t count, std::int64_t timeoutMs) {
                return unit.waitForReceipts(count, milliseconds(timeoutMs));
            },
            py::arg("count"), py::arg("timeout_ms"), Release())
        .def(
            "set_printer_state",
            [](EmulatedUnit& unit, const std::string& word) {
                const auto condition = printerCondition(word);
                const py::gil_scoped_release released;
                unit.setPrinterCondition(condition);
            },
            py::arg("word"))
        .def(
            "set_reply",
            [](EmulatedUnit& unit, const std::string& word) {
                const auto mode = replyMode(word);
                const py::gil_scoped_release released;
                unit.setReplyMode(mode);
            },
            py::arg("word"))
        .def("set_printer_not_ready", &EmulatedUnit::setPrinterNotReadyPolls, py::arg("polls"),
             Release())
        .def("set_printer_error", &EmulatedUnit::setPrinterErrorReplies, py::arg("packets"),
             Release())
        .def("set_corrupt_crc", &EmulatedUnit::corruptNextReplies, py::arg("replies"), Release())
        .def(
            "set_delay_ms",
            [](EmulatedUnit& unit, std::int64_t ms) { unit.setReplyDelay(milliseconds(ms)); },
            py::arg("ms"), Release())
        .def("set_refuse", &EmulatedUnit::setRefuseConnections, py::arg("refuse"), Release())
        .def("set_drop_next", &EmulatedUnit::dropNextConnections, py::arg("connections"), Release())
        .def(
            "restart", [](EmulatedUnit& unit, std::int64_t ms) { unit.restart(milliseconds(ms)); },
            py::arg("ms"), Release())
        .def(
            "set_drawer_close_after_ms",
            [](EmulatedUnit& unit, std::int64_t ms) { unit.setDrawerCloseAfter(milliseconds(ms)); },
            py::arg("ms"), Release())
        .def("open_drawer", &EmulatedUnit::openDrawer, Release())
        .def("close_drawer", &EmulatedUnit::closeDrawer, Release());
}

}  // namespace vantopy
