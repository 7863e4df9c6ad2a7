#pragma once

// The size field that starts every struct crossing the C API. A caller built against an older
// vanto.h passes a smaller struct: the library reads and writes only the fields its size holds
// whole, so a field appended later never reaches past the caller's memory. A size that cannot
// be a struct of any version is a struct nobody initialised.

#include <cstddef>
#include <string>

#include "CApiError.hpp"
#include "vantoconnect/vanto.h"

namespace vantoc {

// Far above any struct this API will grow to, far below the garbage of an uninitialised field.
inline constexpr std::size_t STRUCT_SIZE_MAX = 4096;

// The struct's size as its caller gave it, or a VANTO_ERROR_INVALID naming the struct.
inline std::size_t checkedSize(std::size_t size, const char* name) {
    if (size < sizeof(std::size_t) || size > STRUCT_SIZE_MAX) {
        throw CApiError(VANTO_ERROR_INVALID, std::string(name) + "->struct_size is " +
                                                 std::to_string(size) +
                                                 ": start the struct from its _INIT macro");
    }
    return size;
}

// Whether a struct of `size` bytes holds `member` whole.
template <typename Struct, typename Field>
bool holds(std::size_t size, Field Struct::*member) {
    static const Struct probe{};
    const auto offset = static_cast<std::size_t>(reinterpret_cast<const char*>(&(probe.*member)) -
                                                 reinterpret_cast<const char*>(&probe));
    return offset + sizeof(Field) <= size;
}

// Copies each member that a struct of `size` bytes holds from `from` to `to`; the others keep
// what `to` had.
template <typename Struct, typename... Fields>
void copyHeld(std::size_t size, const Struct& from, Struct& to, Fields Struct::*... members) {
    ((holds(size, members) ? void(to.*members = from.*members) : void()), ...);
}

}  // namespace vantoc
