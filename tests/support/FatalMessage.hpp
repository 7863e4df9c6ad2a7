#pragma once

// The message of the fatal error an action raises, so a test can assert the edge and its words
// in one comparison; a marker when the action returns normally.

#include <string>

#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::testing {

inline constexpr const char* NO_FATAL_ERROR = "<no fatal error>";

template <typename F>
std::string fatalMessage(F&& action) {
    try {
        action();
    } catch (const FatalError& e) {
        return e.what();
    }
    return NO_FATAL_ERROR;
}

}  // namespace vantoconnect::testing
