#include "vantoconnect/transport/UDPClient.hpp"

#include <array>
#include <cstring>

#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/yudpsocket.h"

namespace vantoconnect {
namespace {

std::string resolved(const std::string& address) {
    // Zero-filled, so the copied address (which comes without its terminator) ends in one.
    std::array<char, 16> remoteipbuff{};
    if (yudpsocket_get_server_ip(address.c_str(), remoteipbuff.data()) == 0) {
        return std::string(remoteipbuff.data());
    }
    return address;
}

Result sendBytes(const Socket& socket, const char* bytes, std::size_t count) {
    const auto fd = socket.fd();
    if (!fd) {
        return Result::failure(SocketError::connectionClosed);
    }
    const int sendsize =
        yudpsocket_sentto(*fd, bytes, toInt32Checked(static_cast<std::int64_t>(count)),
                          socket.address().c_str(), socket.port());
    if (sendsize >= 0 && static_cast<std::size_t>(sendsize) == count) {
        return Result::success();
    }
    return Result::failure(SocketError::unknownError);
}

}  // namespace

UDPClient::UDPClient(const std::string& address, std::int32_t port)
    : Socket(resolved(address), port) {
    const int fd = yudpsocket_client();
    // A socket that could not be made leaves the client unconnected rather than holding -1.
    if (fd >= 0) {
        setFd(fd);
    }
}

Result UDPClient::send(const UBytes& data) {
    return sendBytes(*this, reinterpret_cast<const char*>(data.data()), data.size());
}

Result UDPClient::send(const std::string& string) {
    return sendBytes(*this, string.c_str(), std::strlen(string.c_str()));
}

void UDPClient::enableBroadcast() {
    if (const auto fd = this->fd()) {
        enable_broadcast(*fd);
    }
}

void UDPClient::close() {
    if (const auto fd = takeFd()) {
        yudpsocket_close(*fd);
    }
}

}  // namespace vantoconnect
