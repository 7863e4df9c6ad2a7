// One blocking request-and-answer exchange with a unit on loopback that answers at once,
// measured two ways in the same process:
//   BM_WriteAndResponse  the library: connect, send, read, classify (the connection is left
//                        open by design, so the benchmark closes it outside the timing)
//   BM_RawSocketAnchor   the same connect, send, read and close on plain sockets, no library
// The difference between the two is the library's own share; the anchor is what the kernel's
// connect and loopback transfer cost.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/support/Console.hpp"

namespace {

// A port-control answer reporting a ready printer, framed with a 12-bit length and CRC.
std::vector<std::uint8_t> readyAnswer() {
    std::vector<std::uint8_t> message{0x02, 0x12, 0x61, 0x80};
    message.resize(4 + 18, 0);
    message[4 + 6] = 0x04;
    std::uint16_t crc = 0;
    auto feed = [&crc](std::uint8_t b) {
        crc = static_cast<std::uint16_t>(crc ^ (b << 8));
        for (int i = 0; i < 8; ++i) {
            crc = static_cast<std::uint16_t>((crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1);
        }
    };
    std::vector<std::uint8_t> frame{0x02};
    auto put = [&frame](std::uint8_t b) {
        if (b == 0x02 || b == 0x10) {
            frame.push_back(0x10);
            frame.push_back(static_cast<std::uint8_t>(b ^ 0x40));
        } else {
            frame.push_back(b);
        }
    };
    put(static_cast<std::uint8_t>(message.size()));
    feed(static_cast<std::uint8_t>(message.size()));
    for (auto b : message) {
        put(b);
        feed(b);
    }
    put(static_cast<std::uint8_t>(crc >> 8));
    put(static_cast<std::uint8_t>(crc & 0xFF));
    return frame;
}

// Accepts on 127.0.0.1 and answers every read at once, on its own thread.
class EchoUnit {
  public:
    EchoUnit() : mAnswer(readyAnswer()) {
        mListener = ::socket(AF_INET, SOCK_STREAM, 0);
        int on = 1;
        ::setsockopt(mListener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(mListener, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        ::listen(mListener, 128);
        socklen_t length = sizeof(address);
        ::getsockname(mListener, reinterpret_cast<sockaddr*>(&address), &length);
        mPort = ntohs(address.sin_port);
        mThread = std::thread([this] { serve(); });
    }
    ~EchoUnit() {
        mStop = true;
        ::shutdown(mListener, SHUT_RDWR);
        mThread.join();
        ::close(mListener);
    }
    int port() const { return mPort; }

  private:
    void serve() {
        while (!mStop) {
            const int fd = ::accept(mListener, nullptr, nullptr);
            if (fd < 0) {
                return;
            }
            char buffer[1024];
            while (::read(fd, buffer, sizeof(buffer)) > 0) {
                ::send(fd, mAnswer.data(), mAnswer.size(), MSG_NOSIGNAL);
            }
            ::close(fd);
        }
    }

    std::vector<std::uint8_t> mAnswer;
    int mListener = -1;
    int mPort = 0;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

const std::vector<std::int8_t> kQuery{0x02, 0x04, 0x12, 0x02, 0x61, 0x00, 0x3C, 0x1B};

void BM_WriteAndResponse(benchmark::State& state) {
    vantoconnect::setConsoleSink([](std::string_view) {});
    EchoUnit unit;
    auto manager = std::make_shared<vantoconnect::GenericConnectionManager>();
    manager->setConnectionIPAddress("127.0.0.1");
    manager->VantoPort = unit.port();
    for (auto _ : state) {
        const auto response = manager->writeAndResponse(kQuery);
        benchmark::DoNotOptimize(response);
        state.PauseTiming();
        manager->disconnect();
        state.ResumeTiming();
    }
    vantoconnect::setConsoleSink({});
}

void BM_RawSocketAnchor(benchmark::State& state) {
    EchoUnit unit;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(unit.port()));
    char buffer[1024];
    for (auto _ : state) {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        ::send(fd, kQuery.data(), kQuery.size(), MSG_NOSIGNAL);
        benchmark::DoNotOptimize(::read(fd, buffer, sizeof(buffer)));
        state.PauseTiming();
        ::close(fd);
        state.ResumeTiming();
    }
}

}  // namespace

BENCHMARK(BM_WriteAndResponse)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(10)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_RawSocketAnchor)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(10)
    ->ReportAggregatesOnly(true);

BENCHMARK_MAIN();
