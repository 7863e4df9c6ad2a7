#pragma once

// The dashboard on HTTP: the page, the JSON API under /api/ and the live event stream. It
// runs its own threads and reaches the unit only through EmulatedUnit, so the page, the API
// and the command line all change the same state through the same calls.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "emulator/DashboardAccess.hpp"
#include "emulator/DashboardFeed.hpp"
#include "emulator/EventLog.hpp"
#include "emulator/UnitOptions.hpp"

namespace httplib {
class Server;
}

namespace vantoemu {

class EmulatedUnit;

class DashboardServer {
  public:
    // Request bodies beyond this are refused; every change the API takes fits in a few dozen.
    static constexpr std::size_t BODY_LIMIT = 4096;
    // Event streams open at once; each holds a thread while it is open.
    static constexpr int STREAMS = 8;

    DashboardServer(EmulatedUnit& unit, EventLog& log, DashboardOptions options);
    ~DashboardServer();
    DashboardServer(const DashboardServer&) = delete;
    DashboardServer& operator=(const DashboardServer&) = delete;

    // Binds and starts serving; throws std::runtime_error when the address cannot be bound.
    void start();
    // Ends every event stream and stops serving.
    void stop();

    std::uint16_t port() const { return mPort; }
    // The address to open in a browser, e.g. http://127.0.0.1:8081/
    std::string url() const;

  private:
    void routes();

    EmulatedUnit& mUnit;
    EventLog& mLog;
    DashboardOptions mOptions;
    std::unique_ptr<httplib::Server> mServer;
    std::unique_ptr<DashboardAccess> mAccess;
    // Shared with the log's listener, which may still be running while this server goes away.
    std::shared_ptr<DashboardFeed> mFeed;
    std::uint64_t mListener = 0;
    std::atomic<int> mStreams{0};
    std::uint16_t mPort = 0;
    std::thread mThread;
};

}  // namespace vantoemu
