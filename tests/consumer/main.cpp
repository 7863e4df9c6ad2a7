// The smallest program that links the library from another CMake project.
#include <iostream>

#include "vantoconnect/vantoconnect.hpp"

int main() {
    const auto error = vantoconnect::VantoError::PRINTER_NOT_RESPONDING();
    std::cout << (error.code() == 1 ? "ok" : "wrong") << '\n';
    return 0;
}
