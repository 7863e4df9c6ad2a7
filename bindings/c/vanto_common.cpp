// Errors, versions, buffers, reports and the console: what every part of the C API shares.

#include <cstdlib>
#include <string>

#include "COptions.hpp"
#include "CallGuard.hpp"
#include "DeliveryReports.hpp"
#include "OutBuffers.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/vanto.h"

using namespace vantoc;

extern "C" {

const char* vanto_last_error(void) {
    return lastError();
}

const char* vanto_status_name(vanto_status status) {
    switch (status) {
        case VANTO_OK:
            return "VANTO_OK";
        case VANTO_ERROR_INVALID:
            return "VANTO_ERROR_INVALID";
        case VANTO_ERROR_UNIT:
            return "VANTO_ERROR_UNIT";
        case VANTO_ERROR_PRINTER_NOT_RESPONDING:
            return "VANTO_ERROR_PRINTER_NOT_RESPONDING";
        case VANTO_ERROR_NOT_DELIVERED:
            return "VANTO_ERROR_NOT_DELIVERED";
        case VANTO_ERROR_TIMEOUT:
            return "VANTO_ERROR_TIMEOUT";
        case VANTO_ERROR_IO:
            return "VANTO_ERROR_IO";
        case VANTO_ERROR_FATAL:
            return "VANTO_ERROR_FATAL";
        case VANTO_ERROR_NO_MEMORY:
            return "VANTO_ERROR_NO_MEMORY";
        case VANTO_ERROR_INTERNAL:
            return "VANTO_ERROR_INTERNAL";
        case VANTO_ERROR_CONNECTION_LOST:
            return "VANTO_ERROR_CONNECTION_LOST";
        case VANTO_ERROR_CANCELLED:
            return "VANTO_ERROR_CANCELLED";
    }
    return "VANTO_STATUS_UNKNOWN";
}

const char* vanto_version(void) {
    return VANTO_VERSION_STRING;
}

void vanto_string_free(char* text) {
    std::free(text);
}

void vanto_bytes_free(uint8_t* bytes) {
    std::free(bytes);
}

vanto_status vanto_delivery_report_summary(const vanto_delivery_report* report, char** summary) {
    return guarded(__func__, [&] {
        char*& out = required(summary, "summary");
        out = OutBuffers::string(fromC(required(report, "report")).summary());
    });
}

vanto_status vanto_set_console(void (*sink)(void* user, const char* line), void* user) {
    return guarded(__func__, [&] {
        if (sink == nullptr) {
            vantoconnect::setConsoleSink({});
            return;
        }
        vantoconnect::setConsoleSink(lineSink(sink, user));
    });
}

}  // extern "C"
