#include "PrintCallbacks.hpp"

#include <utility>

#include "ErrorTranslator.hpp"
#include "LibraryThread.hpp"

namespace vantopy {

PrintCallbacks::PrintCallbacks(py::object future, py::object onStarted, py::object onCompleted,
                               py::object onError)
    : mFuture(std::move(future)),
      mOnStarted(std::move(onStarted)),
      mOnCompleted(std::move(onCompleted)),
      mOnError(std::move(onError)) {}

void PrintCallbacks::onPrinterStarted(const std::string& ipAddress) {
    // Running from now on, so no longer cancellable.
    LibraryThread::call(mFuture.handle(), [&] { mFuture.get().attr("_started")(); });
    if (!mOnStarted.isNone()) {
        LibraryThread::call(mOnStarted.handle(), [&] { mOnStarted.get()(ipAddress); });
    }
}

void PrintCallbacks::onPrinterCompleted(const std::string& ipAddress) {
    if (!mOnCompleted.isNone()) {
        LibraryThread::call(mOnCompleted.handle(), [&] { mOnCompleted.get()(ipAddress); });
    }
}

void PrintCallbacks::onPrinterError(const vantoconnect::VantoError& error) {
    try {
        mError = error;
    } catch (...) {
        // Out of memory copying a message: the report still arrives, without the error.
    }
    if (!mOnError.isNone()) {
        LibraryThread::call(mOnError.handle(), [&] {
            mOnError.get()(ErrorTranslator::vantoError(error, py::none()));
        });
    }
}

void PrintCallbacks::onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) {
    LibraryThread::call(mFuture.handle(), [&] {
        py::object shown = reportObject(report);
        py::object error = mError ? ErrorTranslator::vantoError(*mError, shown) : py::none();
        mFuture.get().attr("_reported")(std::move(shown), std::move(error));
    });
}

py::object PrintCallbacks::reportObject(const vantoconnect::VantoDeliveryReport& report) {
    return py::module_::import("vantoconnect._report")
        .attr("DeliveryReport")(report.receiptId, report.packetsSent, report.packetsAcknowledged,
                                report.packetsRefused, report.packetsUnrecognised,
                                report.packetsNotSent, report.endOfJobSent, report.allAcknowledged,
                                report.packetsUnanswered, report.cancelled);
}

}  // namespace vantopy
