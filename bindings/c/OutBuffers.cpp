#include "OutBuffers.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

namespace vantoc {

char* OutBuffers::string(std::string_view text) {
    auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    if (!text.empty()) {
        std::memcpy(copy, text.data(), text.size());
    }
    copy[text.size()] = '\0';
    return copy;
}

std::uint8_t* OutBuffers::allocate(std::size_t size) {
    auto* room = static_cast<std::uint8_t*>(std::malloc(size == 0 ? 1 : size));
    if (room == nullptr) {
        throw std::bad_alloc();
    }
    return room;
}

std::uint8_t* OutBuffers::bytes(std::span<const std::uint8_t> data) {
    std::uint8_t* copy = allocate(data.size());
    if (!data.empty()) {
        std::memcpy(copy, data.data(), data.size());
    }
    return copy;
}

}  // namespace vantoc
