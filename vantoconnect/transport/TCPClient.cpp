#include "vantoconnect/transport/TCPClient.hpp"

#include <cstring>
#include <utility>

#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/ytcpsocket.h"

namespace vantoconnect {

TCPClient::TCPClient(std::string address, std::int32_t port) : Socket(std::move(address), port) {}

Result TCPClient::connect(std::int64_t timeout) {
    const int rs = ytcpsocket_connect(address().c_str(), port(), toInt32Checked(timeout));
    if (rs > 0) {
        setFd(rs);
        return Result::success();
    }
    switch (rs) {
        case -1:
            return Result::failure(SocketError::queryFailed);
        case -2:
            return Result::failure(SocketError::connectionClosed);
        case -3:
            return Result::failure(SocketError::connectionTimeout);
        default:
            return Result::failure(SocketError::unknownError);
    }
}

void TCPClient::close() {
    if (const auto fd = takeFd()) {
        ytcpsocket_close(*fd);
    }
}

Result TCPClient::send(const UBytes& data) {
    const auto fd = this->fd();
    if (!fd) {
        return Result::failure(SocketError::connectionClosed);
    }
    const int sendsize = ytcpsocket_send(*fd, reinterpret_cast<const char*>(data.data()),
                                         toInt32Checked(static_cast<std::int64_t>(data.size())));
    if (sendsize >= 0 && static_cast<std::size_t>(sendsize) == data.size()) {
        return Result::success();
    }
    return Result::failure(SocketError::unknownError);
}

Result TCPClient::send(const std::string& string) {
    const auto fd = this->fd();
    if (!fd) {
        return Result::failure(SocketError::connectionClosed);
    }
    const std::size_t length = std::strlen(string.c_str());
    const int sendsize =
        ytcpsocket_send(*fd, string.c_str(), toInt32Checked(static_cast<std::int64_t>(length)));
    if (sendsize >= 0 && static_cast<std::size_t>(sendsize) == length) {
        return Result::success();
    }
    return Result::failure(SocketError::unknownError);
}

std::optional<UBytes> TCPClient::read(std::int64_t length, std::int64_t timeout) {
    const auto fd = this->fd();
    if (!fd) {
        return std::nullopt;
    }
    const std::size_t count = requireCount(length);
    const int length32 = toInt32Checked(length);
    const int timeout32 = toInt32Checked(timeout);
    UBytes buff(count, 0);
    const int readLen =
        ytcpsocket_pull(*fd, reinterpret_cast<char*>(buff.data()), length32, timeout32);
    if (readLen <= 0) {
        return std::nullopt;
    }
    buff.resize(static_cast<std::size_t>(readLen));
    return buff;
}

}  // namespace vantoconnect
