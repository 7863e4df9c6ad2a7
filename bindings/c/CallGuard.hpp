#pragma once

// Where the C API meets C++: every exported function runs its body inside guarded(), so that no
// exception ever crosses into C. Whatever the body throws becomes a status code and a one-line
// reason in the calling thread's last error; a body that returns sets VANTO_OK and clears it.

#include <string>
#include <string_view>

#include "CApiError.hpp"
#include "vantoconnect/vanto.h"

namespace vantoconnect {
class VantoError;
}

namespace vantoc {

// The status of the library's error: VANTO_ERROR_UNIT for GENERIC, and the status of the same
// name for each of the others.
vanto_status statusOf(const vantoconnect::VantoError& error) noexcept;

void setLastError(std::string_view function, std::string_view message) noexcept;
void clearLastError() noexcept;
const char* lastError() noexcept;

// Called inside a catch block: names the exception in flight as a status and records why.
vanto_status failWithCurrentException(std::string_view function) noexcept;

template <typename Body>
vanto_status guarded(std::string_view function, Body&& body) noexcept {
    try {
        body();
    } catch (...) {
        return failWithCurrentException(function);
    }
    clearLastError();
    return VANTO_OK;
}

// The pointer's target, or a VANTO_ERROR_INVALID naming the argument.
template <typename T>
T& required(T* pointer, const char* name) {
    if (pointer == nullptr) {
        throw CApiError(VANTO_ERROR_INVALID, std::string(name) + " is NULL");
    }
    return *pointer;
}

// A C string argument that must be there.
inline const char* requiredString(const char* text, const char* name) {
    return &required(text, name);
}

}  // namespace vantoc
