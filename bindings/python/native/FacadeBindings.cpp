// The facade (wrapped by vantoconnect.Vanto) in either profile, the console and a resilient
// facade's log, delivery report summaries and the classic printer queue's hooks for tests.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cctype>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Bindings.hpp"
#include "ClosableFacade.hpp"
#include "GilFreeDelete.hpp"
#include "HeldObject.hpp"
#include "LibraryThread.hpp"
#include "PrintCallbacks.hpp"
#include "receipts/CheckedFacade.hpp"
#include "receipts/CheckedReceipt.hpp"
#include "receipts/DeviceRequestCheck.hpp"
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
using vantoreceipts::CheckedFacade;

milliseconds toMilliseconds(double seconds) {
    return vantoreceipts::PrinterQueueDrain::fromSeconds(seconds);
}

bool waitForPrinterQueue(double seconds) {
    return vantoreceipts::PrinterQueueDrain::waitUntilIdle(toMilliseconds(seconds));
}

// Lines for a Python callable, one call per line, from whichever thread writes them. Both places
// that take lines (the console, a resilient facade's log) call it under a lock of their own, and
// every native call that may write a line lets go of the GIL first, so taking the GIL here cannot
// wait on a thread that waits for that lock. With the GIL held.
std::function<void(std::string_view)> linesTo(const py::object& callable) {
    auto held = std::make_shared<HeldObject>(callable);
    return [held](std::string_view line) {
        LibraryThread::call(held->handle(), [&] {
            const py::object text = py::reinterpret_steal<py::object>(
                PyUnicode_DecodeUTF8(line.data(), static_cast<Py_ssize_t>(line.size()), "replace"));
            if (!text) {
                throw py::error_already_set();
            }
            held->get()(text);
        });
    };
}

void setConsole(const py::object& sink) {
    std::function<void(std::string_view)> lines;
    if (!sink.is_none()) {
        lines = linesTo(sink);
    }
    const py::gil_scoped_release released;
    vantoconnect::setConsoleSink(std::move(lines));
}

std::string summaryOf(const py::object& report) {
    vantoconnect::VantoDeliveryReport r;
    r.receiptId = report.attr("receipt_id").cast<std::uint64_t>();
    r.packetsSent = report.attr("packets_sent").cast<std::int64_t>();
    r.packetsAcknowledged = report.attr("packets_acknowledged").cast<std::int64_t>();
    r.packetsRefused = report.attr("packets_refused").cast<std::int64_t>();
    r.packetsUnrecognised = report.attr("packets_unrecognised").cast<std::int64_t>();
    r.packetsNotSent = report.attr("packets_not_sent").cast<std::int64_t>();
    r.packetsUnanswered = report.attr("packets_unanswered").cast<std::int64_t>();
    r.endOfJobSent = report.attr("end_of_job_sent").cast<bool>();
    r.allAcknowledged = report.attr("all_acknowledged").cast<bool>();
    r.cancelled = report.attr("cancelled").cast<bool>();
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

// The facade's method for one call, on the share of it the call holds (see ClosableFacade).
template <typename Result, typename... Args>
auto onFacade(Result (CheckedFacade::*method)(Args...)) {
    return [method](const ClosableFacade& facade, Args... args) -> Result {
        return ((*facade.get()).*method)(std::forward<Args>(args)...);
    };
}

template <typename Result, typename... Args>
auto onFacade(Result (CheckedFacade::*method)(Args...) const) {
    return [method](const ClosableFacade& facade, Args... args) -> Result {
        return ((*facade.get()).*method)(std::forward<Args>(args)...);
    };
}

// A resilient facade's time limit, in seconds as Python counts them: a millisecond to a day.
// Absent for the classic profile, which has none.
void setTimeLimit(std::chrono::milliseconds& limit, const char* name,
                  std::optional<double> seconds) {
    if (!seconds) {
        return;
    }
    if (!(*seconds >= 0.001 && *seconds <= 24 * 3600)) {
        throw py::value_error(std::string(name) + " must lie in 0.001...86400 seconds, not " +
                              py::repr(py::float_(*seconds)).cast<std::string>());
    }
    limit = milliseconds(static_cast<std::int64_t>(*seconds * 1000.0 + 0.5));
}

std::unique_ptr<ClosableFacade, GilFreeDelete> makeFacade(bool classic, std::int64_t port,
                                                          std::optional<double> readTimeout,
                                                          std::optional<double> connectTimeout,
                                                          const py::object& log) {
    vantoreceipts::FacadeOptions options;
    options.profile = classic ? vantoreceipts::Profile::Classic : vantoreceipts::Profile::Resilient;
    vantoreceipts::DeviceRequestCheck::port(port);
    options.port = static_cast<std::int32_t>(port);
    setTimeLimit(options.readTimeout, "read_timeout", readTimeout);
    setTimeLimit(options.connectTimeout, "connect_timeout", connectTimeout);
    if (!log.is_none()) {
        options.log = linesTo(log);
    }
    const py::gil_scoped_release released;
    return std::unique_ptr<ClosableFacade, GilFreeDelete>(new ClosableFacade(options));
}

}  // namespace

void bindFacade(py::module_& module) {
    py::class_<ClosableFacade, std::unique_ptr<ClosableFacade, GilFreeDelete>>(
        module, "_Facade", "The library's Vanto; use vantoconnect.Vanto.")
        .def(py::init(&makeFacade), py::arg("classic"), py::arg("port"), py::arg("read_timeout"),
             py::arg("connect_timeout"), py::arg("log"))
        .def("address", onFacade(&CheckedFacade::address), Release())
        .def("set_address", onFacade(&CheckedFacade::setAddress), py::arg("address"), Release())
        .def("port", onFacade(&CheckedFacade::port), Release())
        .def("set_port", onFacade(&CheckedFacade::setPort), py::arg("port"), Release())
        .def("connection_status", onFacade(&CheckedFacade::connectionStatus), Release())
        .def("disconnect", onFacade(&CheckedFacade::disconnect), Release())
        .def("cash_drawer_status", onFacade(&CheckedFacade::cashDrawerStatus), Release())
        .def("open_cash_drawer", onFacade(&CheckedFacade::openCashDrawer), py::arg("validate"),
             Release())
        .def("printer_busy", onFacade(&CheckedFacade::printerBusy), Release())
        .def("set_diagnostic_led", onFacade(&CheckedFacade::setDiagnosticLed), py::arg("position"),
             py::arg("colour"), Release())
        .def("set_cosmetic_led", onFacade(&CheckedFacade::setCosmeticLed), py::arg("colour"),
             Release())
        .def("enable_usb", onFacade(&CheckedFacade::enableUsb), Release())
        .def("disable_usb", onFacade(&CheckedFacade::disableUsb), Release())
        .def("waiting_receipts", onFacade(&CheckedFacade::waitingReceipts), Release())
        .def(
            "cancel",
            [](const ClosableFacade& facade, std::uint64_t receiptId) {
                // A closed facade has reported every receipt it had: none is waiting.
                const auto open = facade.ifOpen();
                return open && open->cancel(receiptId);
            },
            py::arg("receipt_id"), Release())
        .def("close", &ClosableFacade::close, Release())
        .def(
            "closed", [](const ClosableFacade& facade) { return !facade.ifOpen(); }, Release())
        .def(
            "print",
            [](const ClosableFacade& facade, const vantoreceipts::CheckedReceipt& receipt,
               py::object future, py::object onStarted, py::object onCompleted,
               py::object onError) {
                auto callbacks =
                    std::make_shared<PrintCallbacks>(std::move(future), std::move(onStarted),
                                                     std::move(onCompleted), std::move(onError));
                const py::gil_scoped_release released;
                return facade.get()->print(receipt, callbacks, callbacks);
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
