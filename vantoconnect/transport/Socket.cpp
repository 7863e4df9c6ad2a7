#include "vantoconnect/transport/Socket.hpp"

#include <utility>

namespace vantoconnect {

Socket::Socket(std::string address, std::int32_t port)
    : mAddress(std::move(address)), mPort(port) {}

std::optional<std::int32_t> Socket::fd() const {
    std::lock_guard<std::mutex> lock(mFdMutex);
    return mFd;
}

void Socket::setFd(std::optional<std::int32_t> fd) {
    std::lock_guard<std::mutex> lock(mFdMutex);
    mFd = fd;
}

std::optional<std::int32_t> Socket::takeFd() {
    std::lock_guard<std::mutex> lock(mFdMutex);
    return std::exchange(mFd, std::nullopt);
}

}  // namespace vantoconnect
