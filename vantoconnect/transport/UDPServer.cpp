#include "vantoconnect/transport/UDPServer.hpp"

#include <array>
#include <utility>

#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/transport/yudpsocket.h"

namespace vantoconnect {

UDPServer::UDPServer(const std::string& address, std::int32_t port) : Socket(address, port) {
    const int fd = yudpsocket_server(address.c_str(), port);
    if (fd > 0) {
        setFd(fd);
    }
}

std::tuple<std::optional<UBytes>, std::string, std::int32_t> UDPServer::recv(std::int64_t length) {
    const auto fd = this->fd();
    if (!fd) {
        return {std::nullopt, "no ip", 0};
    }
    const std::size_t count = requireCount(length);
    const int length32 = toInt32Checked(length);
    UBytes buff(count, 0);
    std::array<char, 16> remoteipbuff{};
    int remoteport = 0;
    const int readLen = yudpsocket_recive(*fd, reinterpret_cast<char*>(buff.data()), length32,
                                          remoteipbuff.data(), &remoteport);
    std::string ip(remoteipbuff.data());
    if (readLen <= 0) {
        return {std::nullopt, ip, remoteport};
    }
    buff.resize(static_cast<std::size_t>(readLen));
    return {std::move(buff), ip, remoteport};
}

void UDPServer::close() {
    if (const auto fd = takeFd()) {
        yudpsocket_close(*fd);
    }
}

}  // namespace vantoconnect
