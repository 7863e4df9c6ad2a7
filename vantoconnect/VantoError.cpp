#include "vantoconnect/VantoError.hpp"

#include <utility>

namespace vantoconnect {

namespace {
const char* caseName(VantoError::Kind kind) {
    switch (kind) {
        case VantoError::Kind::GENERIC:
            return "GENERIC";
        case VantoError::Kind::PRINTER_NOT_RESPONDING:
            return "PRINTER_NOT_RESPONDING";
        case VantoError::Kind::CONNECTION_LOST:
            return "CONNECTION_LOST";
        case VantoError::Kind::CANCELLED:
            return "CANCELLED";
    }
    return "";
}
}  // namespace

VantoError::VantoError(Kind kind, std::string message) : mKind(kind), mMessage(std::move(message)) {
    mDescription = mKind == Kind::PRINTER_NOT_RESPONDING
                       ? std::string(caseName(mKind))
                       : std::string(caseName(mKind)) + "(message: \"" + mMessage + "\")";
}

VantoError VantoError::GENERIC(std::string message) {
    return VantoError(Kind::GENERIC, std::move(message));
}

VantoError VantoError::PRINTER_NOT_RESPONDING() {
    return VantoError(Kind::PRINTER_NOT_RESPONDING, {});
}

VantoError VantoError::CONNECTION_LOST(std::string message) {
    return VantoError(Kind::CONNECTION_LOST, std::move(message));
}

VantoError VantoError::CANCELLED(std::string message) {
    return VantoError(Kind::CANCELLED, std::move(message));
}

std::string VantoError::localizedDescription() const {
    return "The operation couldn\u2019t be completed. (" + std::string(domain()) + " error " +
           std::to_string(code()) + ".)";
}

}  // namespace vantoconnect
