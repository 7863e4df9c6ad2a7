// The facade (wrapped by vantoconnect.Vanto), the console, delivery report summaries and the
// printer queue's hooks for tests.

#include <pybind11/pybind11.h>

#include <cctype>
#include <chrono>
#include <memory>
#include <string_view>

#include "Bindings.hpp"
#include "GilFreeDelete.hpp"
#include "HeldObject.hpp"
#include "LibraryThread.hpp"
#include "PrintCallbacks.hpp"
#include "receipts/CheckedFacade.hpp"
#include "receipts/CheckedReceipt.hpp"
#include "receipts/Names.hpp"
#include "receipts/PrinterQueueDrain.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoDeliveryReport.hpp"
#include "vantoconnect/support/Console.hpp"

namespace vantopy {

namespace {

using Release = py::call_guard<py::gil_scoped_release>;
using std::chrono::milliseconds;
using vantoconnect::PrinterQueue;

milliseconds toMilliseconds(double seconds) {
    return vantoreceipts::PrinterQueueDrain::fromSeconds(seconds);
}

bool waitForPrinterQueue(double seconds) {
    return vantoreceipts::PrinterQueueDrain::waitUntilIdle(toMilliseconds(seconds));
}

void setConsole(const py::object& sink) {
    if (sink.is_none()) {
        const py::gil_scoped_release released;
        vantoconnect::setConsoleSink({});
        return;
    }
    auto held = std::make_shared<HeldObject>(sink);
    const py::gil_scoped_release released;
    // The sink runs under the console lock; every native call that may write a line lets go of
    // the GIL first, so taking the GIL here cannot wait on a thread that waits for this lock.
    vantoconnect::setConsoleSink([held](std::string_view line) {
        LibraryThread::call(held->handle(), [&] {
            const py::object text = py::reinterpret_steal<py::object>(
                PyUnicode_DecodeUTF8(line.data(), static_cast<Py_ssize_t>(line.size()), "replace"));
            if (!text) {
                throw py::error_already_set();
            }
            held->get()(text);
        });
    });
}

std::string summaryOf(const py::object& report) {
    vantoconnect::VantoDeliveryReport r;
    r.receiptId = report.attr("receipt_id").cast<std::uint64_t>();
    r.packetsSent = report.attr("packets_sent").cast<std::int64_t>();
    r.packetsAcknowledged = report.attr("packets_acknowledged").cast<std::int64_t>();
    r.packetsRefused = report.attr("packets_refused").cast<std::int64_t>();
    r.packetsUnrecognised = report.attr("packets_unrecognised").cast<std::int64_t>();
    r.packetsNotSent = report.attr("packets_not_sent").cast<std::int64_t>();
    r.endOfJobSent = report.attr("end_of_job_sent").cast<bool>();
    r.allAcknowledged = report.attr("all_acknowledged").cast<bool>();
    return r.summary();
}

// The library's own values, for the test that keeps the package's constants equal to them. The
// package names each code by the receipts layer's short word for it, in capitals.
py::dict libraryConstants() {
    using vantoreceipts::Names;
    const auto table = [](const Names::Table& entries) {
        py::dict values;
        for (const auto& entry : entries) {
            std::string name(entry.word);
            for (char& c : name) {
                c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            }
            values[py::str(name)] = entry.value;
        }
        return values;
    };
    py::dict all;
    all["CutType"] = table(Names::cutTypes());
    all["TextStyle"] = table(Names::textStyles());
    all["TextSize"] = table(Names::textSizes());
    all["TextPosition"] = table(Names::textPositions());
    all["BarcodeType"] = table(Names::barcodeTypes());
    all["BarcodeHri"] = table(Names::barcodeHri());
    all["DiagnosticLed"] = table(Names::diagnosticPositions());
    all["LedColor"] = table(Names::ledColours());
    all["CosmeticColor"] = table(Names::cosmeticColours());
    py::dict drawer;
    drawer["OPENED"] = vantoconnect::Vanto::CASH_DRAWER_STATUS_OPENED;
    drawer["CLOSED"] = vantoconnect::Vanto::CASH_DRAWER_STATUS_CLOSED;
    all["DrawerStatus"] = drawer;
    return all;
}

}  // namespace

void bindFacade(py::module_& module) {
    using Facade = vantoreceipts::CheckedFacade;
    py::class_<Facade, std::unique_ptr<Facade, GilFreeDelete>>(
        module, "_Facade", "The library's Vanto; use vantoconnect.Vanto.")
        .def(py::init([] {
            const py::gil_scoped_release released;
            return std::unique_ptr<Facade, GilFreeDelete>(new Facade());
        }))
        .def("address", &Facade::address, Release())
        .def("set_address", &Facade::setAddress, py::arg("address"), Release())
        .def("port", &Facade::port, Release())
        .def("set_port", &Facade::setPort, py::arg("port"), Release())
        .def("connection_status", &Facade::connectionStatus, Release())
        .def("disconnect", &Facade::disconnect, Release())
        .def("cash_drawer_status", &Facade::cashDrawerStatus, Release())
        .def("open_cash_drawer", &Facade::openCashDrawer, py::arg("validate"), Release())
        .def("printer_busy", &Facade::printerBusy, Release())
        .def("set_diagnostic_led", &Facade::setDiagnosticLed, py::arg("position"),
             py::arg("colour"), Release())
        .def("set_cosmetic_led", &Facade::setCosmeticLed, py::arg("colour"), Release())
        .def("enable_usb", &Facade::enableUsb, Release())
        .def("disable_usb", &Facade::disableUsb, Release())
        .def(
            "print",
            [](Facade& facade, const vantoreceipts::CheckedReceipt& receipt, py::object future,
               py::object onStarted, py::object onCompleted, py::object onError) {
                auto callbacks =
                    std::make_shared<PrintCallbacks>(std::move(future), std::move(onStarted),
                                                     std::move(onCompleted), std::move(onError));
                const py::gil_scoped_release released;
                return facade.print(receipt, callbacks, callbacks);
            },
            py::arg("receipt"), py::arg("future"), py::arg("on_started"), py::arg("on_completed"),
            py::arg("on_error"));

    module.def("set_console", &setConsole, py::arg("sink"),
               "Sends the library's diagnostic lines to sink(line) instead of standard output; "
               "None restores standard output. The sink runs under the library's console lock: "
               "call nothing of vantoconnect from it.");
    module.def("_report_summary", &summaryOf, py::arg("report"));
    module.def("_library_constants", &libraryConstants);
    module.def(
        "_reset_printer_queue_for_testing",
        [](double limit) { return PrinterQueue::resetForTesting(toMilliseconds(limit)); },
        py::arg("limit") = 10.0, Release());
    module.def("_set_timer_interval_scale", &PrinterQueue::setTimerIntervalScale, py::arg("scale"),
               Release());
    module.def("_wait_for_printer_queue", &waitForPrinterQueue, py::arg("timeout"), Release());
}

}  // namespace vantopy
