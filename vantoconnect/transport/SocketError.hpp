#pragma once

// Why a socket operation failed. The case position is the error code, and the text a failure
// carries is the platform's default description of such an error value:
// "The operation couldn’t be completed. (vantoconnect.SocketError error N.)".

#include <string>
#include <system_error>
#include <type_traits>

namespace vantoconnect {

enum class SocketError : int {
    queryFailed,
    connectionClosed,
    connectionTimeout,
    unknownError,
};

const std::error_category& socketErrorCategory() noexcept;

std::string localizedDescription(SocketError error);

inline std::error_code make_error_code(SocketError error) noexcept {
    return {static_cast<int>(error), socketErrorCategory()};
}

}  // namespace vantoconnect

template <>
struct std::is_error_code_enum<vantoconnect::SocketError> : std::true_type {};
