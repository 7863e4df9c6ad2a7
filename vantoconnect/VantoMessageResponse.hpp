#pragma once

#include <cstdint>
#include <string_view>

namespace vantoconnect {

// The classification of one answer from the unit. The declaration order is the ordinal.
enum class VantoMessageResponse : std::int64_t {
    PRINT_ACKNOWLEDGED,
    WIFI_ACKNOWLEDGED,
    IO_CHANGE_OK,
    PRINTER_STATUS_OK,
    PRINTER_STATUS_NOT_READY,
    CASH_DRAWER_STATE_1,
    CASH_DRAWER_STATE_2,
    ERROR_PRINTER_NOT_OK,
    UNKNOWN,
};

// The case name, as the value prints ("PRINTER_STATUS_OK").
std::string_view toString(VantoMessageResponse response);

}  // namespace vantoconnect

template <>
struct std::hash<vantoconnect::VantoMessageResponse> {
    std::size_t operator()(vantoconnect::VantoMessageResponse r) const noexcept {
        return static_cast<std::size_t>(r);
    }
};
