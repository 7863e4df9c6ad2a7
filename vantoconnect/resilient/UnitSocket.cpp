#include "vantoconnect/resilient/UnitSocket.hpp"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "vantoconnect/resilient/StopSignal.hpp"

namespace vantoconnect {
namespace {

constexpr std::size_t READ_SIZE = 1024;

int millisecondsUntil(UnitSocket::Clock::time_point deadline) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - UnitSocket::Clock::now());
    if (left.count() <= 0) {
        return 0;
    }
    return left.count() > 1'000'000'000 ? 1'000'000'000 : static_cast<int>(left.count());
}

std::string errorText(int error) {
    return std::error_code(error, std::generic_category()).message();
}

}  // namespace

UnitSocket::~UnitSocket() {
    if (mFd >= 0) {
        ::close(mFd);
    }
}

UnitSocket::Status UnitSocket::fail(Status status, std::string why) {
    mFailure = std::move(why);
    return status;
}

UnitSocket::Status UnitSocket::await(short events, Clock::time_point deadline) {
    for (;;) {
        if (mStop.raised()) {
            return fail(Status::Stopped, "the facade was closed");
        }
        std::array<pollfd, 2> fds{pollfd{mFd, events, 0}, pollfd{mStop.fd(), POLLIN, 0}};
        const nfds_t count = mStop.fd() >= 0 ? 2 : 1;
        const int timeout = millisecondsUntil(deadline);
        const int ready = ::poll(fds.data(), count, timeout);
        if (ready < 0) {
            if (errno == EINTR) {
                continue;
            }
            return fail(Status::Closed, "waiting on " + mPeer + " failed: " + errorText(errno));
        }
        if (count == 2 && fds[1].revents != 0) {
            return fail(Status::Stopped, "the facade was closed");
        }
        if (fds[0].revents != 0) {
            return Status::Ok;
        }
        if (timeout == 0) {
            return Status::TimedOut;
        }
    }
}

UnitSocket::Status UnitSocket::connect(const std::string& host, std::int32_t port,
                                       Clock::time_point deadline) {
    mPeer = host + ":" + std::to_string(port);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    // A unit is normally given by its numeric address, which needs no lookup. A name goes to the
    // system's resolver, whose waits are its own: no deadline of ours reaches into it.
    if (::inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        const int resolved = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
        if (resolved != 0 || found == nullptr) {
            return fail(Status::Unreachable,
                        "cannot resolve \"" + host +
                            "\": " + (resolved != 0 ? ::gai_strerror(resolved) : "no address"));
        }
        address.sin_addr = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
        ::freeaddrinfo(found);
    }

    mFd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (mFd < 0) {
        return fail(Status::Unreachable, "no socket for " + mPeer + ": " + errorText(errno));
    }
    if (::connect(mFd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
        return Status::Ok;
    }
    if (errno != EINPROGRESS) {
        return fail(Status::Unreachable, "connection to " + mPeer + " failed: " + errorText(errno));
    }
    const Status ready = await(POLLOUT, deadline);
    if (ready == Status::TimedOut) {
        return fail(Status::Unreachable, "no connection to " + mPeer + " within the time limit");
    }
    if (ready != Status::Ok) {
        return ready == Status::Stopped ? ready : fail(Status::Unreachable, mFailure);
    }
    int error = 0;
    socklen_t length = sizeof(error);
    if (::getsockopt(mFd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
        error = errno;
    }
    if (error != 0) {
        return fail(Status::Unreachable,
                    error == ECONNREFUSED
                        ? "connection to " + mPeer + " refused"
                        : "connection to " + mPeer + " failed: " + errorText(error));
    }
    return Status::Ok;
}

UnitSocket::Status UnitSocket::send(const UBytes& bytes, Clock::time_point deadline) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        // MSG_NOSIGNAL: a unit that has gone must not end the process with SIGPIPE.
        const ssize_t n = ::send(mFd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n >= 0) {
            sent += static_cast<std::size_t>(n);
            continue;
        }
        if (errno == EINTR) {
            continue;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            return fail(Status::NotSent, "sending to " + mPeer + " failed: " + errorText(errno));
        }
        const Status ready = await(POLLOUT, deadline);
        if (ready == Status::TimedOut) {
            return fail(Status::NotSent, "sending to " + mPeer + " did not finish in time");
        }
        if (ready != Status::Ok) {
            return ready;
        }
    }
    return Status::Ok;
}

UnitSocket::Status UnitSocket::receive(UBytes& into, Clock::time_point deadline) {
    std::array<std::uint8_t, READ_SIZE> buffer{};
    for (;;) {
        const ssize_t n = ::recv(mFd, buffer.data(), buffer.size(), 0);
        if (n > 0) {
            into.insert(into.end(), buffer.begin(), buffer.begin() + n);
            return Status::Ok;
        }
        if (n == 0) {
            return fail(Status::Closed, mPeer + " closed the connection before answering");
        }
        if (errno == EINTR) {
            continue;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            return fail(Status::Closed,
                        "the connection to " + mPeer + " broke: " + errorText(errno));
        }
        const Status ready = await(POLLIN, deadline);
        if (ready == Status::TimedOut) {
            return fail(Status::TimedOut, "no answer from " + mPeer + " in time");
        }
        if (ready != Status::Ok) {
            return ready;
        }
    }
}

UnitSocket::Status UnitSocket::awaitClose(Clock::time_point deadline) {
    ::shutdown(mFd, SHUT_WR);
    std::array<std::uint8_t, READ_SIZE> buffer{};
    for (;;) {
        const ssize_t n = ::recv(mFd, buffer.data(), buffer.size(), 0);
        if (n == 0) {
            return Status::Ok;
        }
        if (n > 0 || errno == EINTR) {
            continue;  // nothing is asked of it; whatever it says is not an answer
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            return fail(
                Status::Closed,
                mPeer + " reset the connection before it read the message: " + errorText(errno));
        }
        const Status ready = await(POLLIN, deadline);
        if (ready != Status::Ok) {
            return ready;
        }
    }
}

}  // namespace vantoconnect
