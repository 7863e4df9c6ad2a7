#pragma once

// A receipt, line, image or name that will not be printed as given, explained in one line that
// names the file, the line and the field. Everything in this folder reports bad input this way,
// so the command line, the C API and the Python package each turn it into their own kind of
// error without parsing messages.

#include <stdexcept>
#include <string>

namespace vantoreceipts {

class ReceiptInputError : public std::invalid_argument {
  public:
    explicit ReceiptInputError(const std::string& message) : std::invalid_argument(message) {}
};

}  // namespace vantoreceipts
