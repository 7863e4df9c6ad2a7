// What the dashboard costs the emulated unit: 100 receipts printed through the library, one
// after another, each sent when the previous one has its delivery report, until the unit has
// all of them on paper. Measured without the dashboard, and with it serving one event stream
// and a poller that behaves like the page (state and receipt list every 150 ms, each new
// receipt's PNG once), in alternating rounds of one run so both see the same machine.
//
// The queue's poll intervals are shortened a hundredfold, so the time is the unit's and the
// library's work rather than the queue's sleeping, and any cost of the dashboard shows.
//
// Not a Google Benchmark timing: it prints one line per round and the ratio of the medians.
//   bench_dashboard [ROUNDS]     default 5 rounds of each

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "tests/support/ChildRun.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/support/Console.hpp"

namespace {

constexpr int RECEIPTS = 100;

class Reports : public vantoconnect::VantoPrinterCallback,
                public vantoconnect::VantoDeliveryListener {
  public:
    void onPrinterStarted(const std::string&) override {}
    void onPrinterCompleted(const std::string&) override {}
    void onPrinterError(const vantoconnect::VantoError&) override {}
    void onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) override {
        std::lock_guard lock(mutex);
        ++count;
        delivered += report.allAcknowledged ? 1 : 0;
        changed.notify_all();
    }
    bool waitFor(int n) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(60), [&] { return count >= n; });
    }

    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
    int delivered = 0;
};

// One HTTP/1.1 request on loopback with the connection closed after it; returns the body.
std::string httpGet(std::uint16_t port, const std::string& path) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    std::string reply;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        const std::string request = "GET " + path +
                                    " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                                    "\r\nConnection: close\r\n\r\n";
        (void)!::send(fd, request.data(), request.size(), MSG_NOSIGNAL);
        char buffer[65536];
        ssize_t n;
        while ((n = ::read(fd, buffer, sizeof buffer)) > 0) {
            reply.append(buffer, static_cast<std::size_t>(n));
        }
    }
    ::close(fd);
    const auto body = reply.find("\r\n\r\n");
    return body == std::string::npos ? std::string() : reply.substr(body + 4);
}

// An event stream held open and read to the end, as the page's EventSource does.
class StreamReader {
  public:
    explicit StreamReader(std::uint16_t port) {
        mFd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        if (::connect(mFd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            const std::string request =
                "GET /api/events HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n";
            (void)!::send(mFd, request.data(), request.size(), MSG_NOSIGNAL);
        }
        mThread = std::thread([this] {
            char buffer[65536];
            ssize_t n;
            while ((n = ::read(mFd, buffer, sizeof buffer)) > 0) {
                bytes += static_cast<std::size_t>(n);
            }
        });
    }
    ~StreamReader() {
        ::shutdown(mFd, SHUT_RDWR);
        mThread.join();
        ::close(mFd);
    }
    std::atomic<std::size_t> bytes{0};

  private:
    int mFd = -1;
    std::thread mThread;
};

// The page's own reading: state and receipts at its refresh pace, each new PNG once.
class Poller {
  public:
    explicit Poller(std::uint16_t port) : mPort(port) {
        mThread = std::thread([this] { run(); });
    }
    ~Poller() {
        mStop = true;
        mThread.join();
    }
    std::atomic<int> requests{0};

  private:
    void run() {
        int shown = 0;
        while (!mStop) {
            httpGet(mPort, "/api/state");
            const auto list =
                nlohmann::json::parse(httpGet(mPort, "/api/receipts"), nullptr, false);
            requests += 2;
            if (list.is_object()) {
                for (const auto& receipt : list["receipts"]) {
                    const int number = receipt["number"].get<int>();
                    if (number > shown) {
                        httpGet(mPort, "/api/receipts/" + std::to_string(number) + ".png");
                        ++requests;
                    }
                }
                for (const auto& receipt : list["receipts"]) {
                    shown = std::max(shown, receipt["number"].get<int>());
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
        }
    }

    std::uint16_t mPort;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

std::shared_ptr<vantoconnect::VantoReceipt> receipt(int n) {
    using namespace vantoconnect;
    auto r = std::make_shared<VantoReceipt>();
    r->addLine(std::make_shared<VantoReceiptTextLine>("HARBOUR CAFE", 1, 1, 1));
    for (int line = 0; line < 12; ++line) {
        r->addLine(std::make_shared<VantoReceiptPriceLine>(
            "Item " + std::to_string(line) + " of receipt " + std::to_string(n), 0, "3.20", 0));
    }
    r->addLine(std::make_shared<VantoReceiptTextLine>("Thank you", 1, 0, 0));
    return r;
}

struct Round {
    double seconds = 0;
    int delivered = 0;
    int rendered = 0;
    int requests = 0;
    std::size_t streamed = 0;
};

Round runRound(bool dashboard, const std::filesystem::path& dir) {
    std::filesystem::remove_all(dir);
    vantoemu::UnitOptions options{.port = 0, .outDir = dir.string(), .faults = {}};
    options.dashboard.enabled = dashboard;
    vantoemu::EmulatedUnit unit(options);
    unit.start();
    std::unique_ptr<StreamReader> stream;
    std::unique_ptr<Poller> poller;
    if (dashboard) {
        stream = std::make_unique<StreamReader>(unit.dashboardPort());
        poller = std::make_unique<Poller>(unit.dashboardPort());
    }
    vantoconnect::Vanto vanto;
    auto manager = std::dynamic_pointer_cast<vantoconnect::GenericConnectionManager>(
        vanto.getConnectionManager());
    manager->setConnectionIPAddress("127.0.0.1");
    manager->VantoPort = unit.port();
    auto reports = std::make_shared<Reports>();

    const auto start = std::chrono::steady_clock::now();
    for (int n = 1; n <= RECEIPTS; ++n) {
        vanto.print(receipt(n), reports, reports);
        if (!reports->waitFor(n)) {
            break;
        }
    }
    unit.waitForReceipts(RECEIPTS, std::chrono::seconds(60));
    Round round;
    round.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    round.delivered = reports->delivered;
    round.rendered = static_cast<int>(unit.snapshot().receipts);
    if (dashboard) {
        round.requests = poller->requests;
        poller.reset();
        round.streamed = stream->bytes;
        stream.reset();
    }
    vantoconnect::PrinterQueue::resetForTesting();
    unit.stop();
    return round;
}

// Each round runs in a child process of its own. The library leaves the socket of every status
// poll open and here both ends of each stay in one process, so a few rounds in one process
// would pass the descriptor numbers the library's select() can watch.
Round runRoundInChild(bool dashboard, const std::filesystem::path& dir) {
    return vantoconnect::testing::runInChild<Round>([&] {
               vantoconnect::setConsoleSink([](std::string_view) {});
               vantoconnect::PrinterQueue::setTimerIntervalScale(0.01);
               return runRound(dashboard, dir);
           })
        .value;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    int rounds = 5;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] != '-') {  // flags meant for the Google Benchmark programs
            rounds = std::max(1, std::atoi(argv[i]));
        }
    }
    const auto dir = std::filesystem::temp_directory_path() /
                     ("vanto-dashboard-bench-" + std::to_string(::getpid()));

    std::printf("%d receipts per round, queue intervals / 100, receipts rendered to PNG\n",
                RECEIPTS);
    std::printf("%-6s %-10s %-9s %-10s %-9s %-14s %s\n", "round", "dashboard", "seconds",
                "delivered", "on paper", "page requests", "event bytes");
    std::vector<double> plain;
    std::vector<double> served;
    bool whole = true;
    for (int r = 1; r <= rounds; ++r) {
        for (const bool dashboard : {false, true}) {
            const Round round = runRoundInChild(dashboard, dir);
            (dashboard ? served : plain).push_back(round.seconds);
            whole = whole && round.delivered == RECEIPTS && round.rendered == RECEIPTS;
            std::printf("%-6d %-10s %-9.3f %-10d %-9d %-14d %zu\n", r, dashboard ? "on" : "off",
                        round.seconds, round.delivered, round.rendered, round.requests,
                        round.streamed);
        }
    }
    std::filesystem::remove_all(dir);
    const double ratio = median(served) / median(plain);
    std::printf("median without %.3f s, with %.3f s: the dashboard costs %+.1f%% (ratio %.3f)\n",
                median(plain), median(served), (ratio - 1) * 100, ratio);
    if (!whole) {
        std::printf("not every receipt was delivered and on paper: the figures do not count\n");
        return 1;
    }
    return 0;
}
