#pragma once

// Strings and byte buffers handed out to C callers. They are allocated with malloc and freed by
// vanto_string_free / vanto_bytes_free, so a caller never needs to know which C++ runtime made
// them.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vantoc {

class OutBuffers {
  public:
    // A NUL-terminated copy; throws std::bad_alloc.
    static char* string(std::string_view text);
    // A copy of the bytes (at least one byte is allocated, so an empty result is not NULL).
    static std::uint8_t* bytes(std::span<const std::uint8_t> data);
    // Room for `size` bytes, to be filled by the caller; the same rules.
    static std::uint8_t* allocate(std::size_t size);
};

}  // namespace vantoc
