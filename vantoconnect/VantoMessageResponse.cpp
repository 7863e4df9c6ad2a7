#include "vantoconnect/VantoMessageResponse.hpp"

namespace vantoconnect {

std::string_view toString(VantoMessageResponse response) {
    switch (response) {
        case VantoMessageResponse::PRINT_ACKNOWLEDGED:
            return "PRINT_ACKNOWLEDGED";
        case VantoMessageResponse::WIFI_ACKNOWLEDGED:
            return "WIFI_ACKNOWLEDGED";
        case VantoMessageResponse::IO_CHANGE_OK:
            return "IO_CHANGE_OK";
        case VantoMessageResponse::PRINTER_STATUS_OK:
            return "PRINTER_STATUS_OK";
        case VantoMessageResponse::PRINTER_STATUS_NOT_READY:
            return "PRINTER_STATUS_NOT_READY";
        case VantoMessageResponse::CASH_DRAWER_STATE_1:
            return "CASH_DRAWER_STATE_1";
        case VantoMessageResponse::CASH_DRAWER_STATE_2:
            return "CASH_DRAWER_STATE_2";
        case VantoMessageResponse::ERROR_PRINTER_NOT_OK:
            return "ERROR_PRINTER_NOT_OK";
        case VantoMessageResponse::UNKNOWN:
            return "UNKNOWN";
    }
    return "UNKNOWN";
}

}  // namespace vantoconnect
