#include "COptions.hpp"

#include <chrono>
#include <string>
#include <string_view>

#include "CApiError.hpp"
#include "StructSize.hpp"

namespace vantoc {

namespace {

// A day: longer than any wait a till can mean, and short enough that no deadline overflows.
constexpr std::int64_t LIMIT_MAX_MS = 86'400'000;

std::chrono::milliseconds limit(std::int64_t ms, const char* field) {
    if (ms < 1 || ms > LIMIT_MAX_MS) {
        throw CApiError(VANTO_ERROR_INVALID,
                        std::string("options->") + field + " must lie in 1..." +
                            std::to_string(LIMIT_MAX_MS) + ", not " + std::to_string(ms));
    }
    return std::chrono::milliseconds(ms);
}

}  // namespace

std::function<void(std::string_view line)> lineSink(void (*sink)(void* user, const char* line),
                                                    void* user) {
    return [sink, user](std::string_view line) {
        const std::string terminated(line);
        sink(user, terminated.c_str());
    };
}

vantoreceipts::FacadeOptions facadeOptions(const vanto_options* given) {
    using O = vanto_options;
    vanto_options c = VANTO_OPTIONS_INIT;
    if (given != nullptr) {
        copyHeld(checkedSize(given->struct_size, "options"), *given, c, &O::profile, &O::port,
                 &O::address, &O::connect_timeout_ms, &O::read_timeout_ms, &O::wait_limit_ms,
                 &O::log, &O::log_user);
    }
    vantoreceipts::FacadeOptions options;
    if (c.profile == VANTO_PROFILE_CLASSIC) {
        options.profile = vantoreceipts::Profile::Classic;
    } else if (c.profile != VANTO_PROFILE_RESILIENT) {
        throw CApiError(VANTO_ERROR_INVALID,
                        "options->profile must be VANTO_PROFILE_RESILIENT or "
                        "VANTO_PROFILE_CLASSIC, not " +
                            std::to_string(c.profile));
    }
    options.address = c.address != nullptr ? c.address : "";
    options.port = c.port;
    options.connectTimeout = limit(c.connect_timeout_ms, "connect_timeout_ms");
    options.readTimeout = limit(c.read_timeout_ms, "read_timeout_ms");
    options.waitLimit = limit(c.wait_limit_ms, "wait_limit_ms");
    if (c.log != nullptr) {
        if (options.profile == vantoreceipts::Profile::Classic) {
            // Its lines go to standard output or the process-wide sink: a log set here would
            // silently hear nothing.
            throw CApiError(VANTO_ERROR_INVALID,
                            "options->log is for the resilient profile; the classic profile "
                            "writes its lines to standard output or to vanto_set_console's sink");
        }
        options.log = lineSink(c.log, c.log_user);
    }
    return options;
}

}  // namespace vantoc
