#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace vantoconnect {

// The error that public and connection operations throw.
//   GENERIC                - opening a connection or sending failed; message() says why
//   PRINTER_NOT_RESPONDING - the printer queue gave up on a receipt
// and two that only the resilient profile raises, where the classic one ends the process or
// cannot withdraw a receipt:
//   CONNECTION_LOST        - the unit closed or reset the connection, or said nothing within the
//                            read's time limit, before its answer was in; message() says which
//   CANCELLED              - the receipt was withdrawn before it was sent, or the facade was
//                            closed while it was being sent; message() says which
class VantoError : public std::exception {
  public:
    enum class Kind : std::int64_t { GENERIC, PRINTER_NOT_RESPONDING, CONNECTION_LOST, CANCELLED };

    static VantoError GENERIC(std::string message);
    static VantoError PRINTER_NOT_RESPONDING();
    static VantoError CONNECTION_LOST(std::string message);
    static VantoError CANCELLED(std::string message);

    Kind kind() const noexcept { return mKind; }
    // The payload of the kinds that carry one; empty for PRINTER_NOT_RESPONDING.
    const std::string& message() const noexcept { return mMessage; }
    // The case position: 0 for GENERIC, 1 for PRINTER_NOT_RESPONDING, 2, 3 for the others.
    std::int64_t code() const noexcept { return static_cast<std::int64_t>(mKind); }
    static const char* domain() noexcept { return "vantoconnect.VantoError"; }

    // How the value prints: GENERIC(message: "..."), PRINTER_NOT_RESPONDING,
    // CONNECTION_LOST(message: "...") or CANCELLED(message: "...").
    const std::string& description() const noexcept { return mDescription; }
    // The platform's default text: "The operation couldn’t be completed. (vantoconnect.VantoError
    // error N.)"
    std::string localizedDescription() const;

    const char* what() const noexcept override { return mDescription.c_str(); }

    bool operator==(const VantoError& other) const {
        return mKind == other.mKind && mMessage == other.mMessage;
    }

  private:
    VantoError(Kind kind, std::string message);

    Kind mKind;
    std::string mMessage;
    std::string mDescription;
};

}  // namespace vantoconnect
