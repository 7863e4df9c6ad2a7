#include "vantoconnect/VantoError.hpp"

#include <utility>

namespace vantoconnect {

VantoError::VantoError(Kind kind, std::string message) : mKind(kind), mMessage(std::move(message)) {
    mDescription = mKind == Kind::GENERIC ? "GENERIC(message: \"" + mMessage + "\")"
                                          : std::string("PRINTER_NOT_RESPONDING");
}

VantoError VantoError::GENERIC(std::string message) {
    return VantoError(Kind::GENERIC, std::move(message));
}

VantoError VantoError::PRINTER_NOT_RESPONDING() {
    return VantoError(Kind::PRINTER_NOT_RESPONDING, {});
}

std::string VantoError::localizedDescription() const {
    return "The operation couldn\u2019t be completed. (" + std::string(domain()) + " error " +
           std::to_string(code()) + ".)";
}

}  // namespace vantoconnect
