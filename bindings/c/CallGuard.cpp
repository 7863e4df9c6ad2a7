#include "CallGuard.hpp"

#include <new>

#include "receipts/FatalEdge.hpp"
#include "receipts/ReceiptInputError.hpp"
#include "receipts/UnitIoError.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantoc {

namespace {

thread_local std::string tLastError;

}  // namespace

vanto_status statusOf(const vantoconnect::VantoError& error) noexcept {
    using Kind = vantoconnect::VantoError::Kind;
    switch (error.kind()) {
        case Kind::GENERIC:
            return VANTO_ERROR_UNIT;
        case Kind::PRINTER_NOT_RESPONDING:
            return VANTO_ERROR_PRINTER_NOT_RESPONDING;
        case Kind::CONNECTION_LOST:
            return VANTO_ERROR_CONNECTION_LOST;
        case Kind::CANCELLED:
            return VANTO_ERROR_CANCELLED;
    }
    return VANTO_ERROR_INTERNAL;
}

void setLastError(std::string_view function, std::string_view message) noexcept {
    try {
        tLastError.assign(function);
        tLastError += ": ";
        tLastError += message;
    } catch (...) {
        // Out of memory while explaining: the status still says what happened.
        tLastError.clear();
    }
}

void clearLastError() noexcept {
    tLastError.clear();
}

const char* lastError() noexcept {
    return tLastError.c_str();
}

vanto_status failWithCurrentException(std::string_view function) noexcept {
    vanto_status status = VANTO_ERROR_INTERNAL;
    try {
        try {
            throw;
        } catch (const CApiError& e) {
            status = e.status();
            setLastError(function, e.what());
        } catch (const vantoreceipts::ReceiptInputError& e) {
            status = VANTO_ERROR_INVALID;
            setLastError(function, e.what());
        } catch (const vantoreceipts::UnitIoError& e) {
            status = VANTO_ERROR_IO;
            setLastError(function, e.what());
        } catch (const vantoconnect::Image::Error& e) {
            status = VANTO_ERROR_INVALID;
            setLastError(function, e.what());
        } catch (const vantoconnect::VantoError& e) {
            status = statusOf(e);
            setLastError(function, e.message().empty() ? e.description() : e.message());
        } catch (const vantoconnect::FatalError& e) {
            status = VANTO_ERROR_FATAL;
            setLastError(function, vantoreceipts::FatalEdge::explain(e.what()));
        } catch (const std::bad_alloc&) {
            status = VANTO_ERROR_NO_MEMORY;
            setLastError(function, "out of memory");
        } catch (const std::exception& e) {
            status = VANTO_ERROR_INTERNAL;
            setLastError(function, e.what());
        }
    } catch (...) {
        status = VANTO_ERROR_INTERNAL;
        setLastError(function, "an unknown exception");
    }
    return status;
}

}  // namespace vantoc
