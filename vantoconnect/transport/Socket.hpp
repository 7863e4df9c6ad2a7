#pragma once

// The common part of the TCP and UDP sockets: where the peer is, and the descriptor once there
// is one. Dropping a socket object never closes its descriptor; only close() does, because the
// connection manager relies on a replaced socket staying open.

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace vantoconnect {

class Socket {
  public:
    Socket(std::string address, std::int32_t port);
    virtual ~Socket() = default;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    const std::string& address() const noexcept { return mAddress; }
    std::int32_t port() const noexcept { return mPort; }

    // Absent while not connected. The descriptor may be closed from one thread while another
    // reads it, so access to it is serialised.
    std::optional<std::int32_t> fd() const;
    void setFd(std::optional<std::int32_t> fd);

  protected:
    // Clears the descriptor and hands back what it was, in one step, so that two close() calls
    // racing each other cannot close it twice.
    std::optional<std::int32_t> takeFd();

  private:
    const std::string mAddress;
    const std::int32_t mPort;
    mutable std::mutex mFdMutex;
    std::optional<std::int32_t> mFd;
};

}  // namespace vantoconnect
