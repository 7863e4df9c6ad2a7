#pragma once

// A C caller's vanto_options as the facade's options, checked: a profile, a time limit or a log
// that cannot be meant is refused before any facade is made.

#include <functional>
#include <string_view>

#include "receipts/CheckedFacade.hpp"
#include "vantoconnect/vanto.h"

namespace vantoc {

// A C function that takes lines, as the library's line sink: each line NUL-terminated.
std::function<void(std::string_view line)> lineSink(void (*sink)(void* user, const char* line),
                                                    void* user);

// NULL is the defaults. Throws CApiError (VANTO_ERROR_INVALID) naming the field at fault; the
// port is checked by the facade itself.
vantoreceipts::FacadeOptions facadeOptions(const vanto_options* options);

}  // namespace vantoc
