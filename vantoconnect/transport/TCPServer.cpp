#include "vantoconnect/transport/TCPServer.hpp"

#include <array>
#include <utility>

#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/ytcpsocket.h"

namespace vantoconnect {

TCPServer::TCPServer(std::string address, std::int32_t port) : Socket(std::move(address), port) {}

Result TCPServer::listen() {
    const int fd = ytcpsocket_listen(address().c_str(), port());
    if (fd > 0) {
        setFd(fd);
        return Result::success();
    }
    return Result::failure(SocketError::unknownError);
}

std::shared_ptr<TCPClient> TCPServer::accept() {
    const auto fd = this->fd();
    if (!fd) {
        return nullptr;
    }
    // Room for "255.255.255.255" and its terminator.
    std::array<char, 16> buff{};
    int port = 0;
    const int clientfd = ytcpsocket_accept(*fd, buff.data(), &port);
    if (clientfd <= 0) {
        return nullptr;
    }
    auto client = std::make_shared<TCPClient>(std::string(buff.data()), port);
    client->setFd(clientfd);
    return client;
}

void TCPServer::close() {
    if (const auto fd = takeFd()) {
        ytcpsocket_close(*fd);
    }
}

}  // namespace vantoconnect
