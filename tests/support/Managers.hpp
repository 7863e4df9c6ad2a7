#pragma once

// Connection managers for tests: aimed at a loopback port, noting the pauses an unrecognised
// answer calls for instead of sleeping through them, and a wait for the work queued on one.

#include <chrono>
#include <future>
#include <memory>
#include <vector>

#include "vantoconnect/connection/GenericConnectionManager.hpp"

namespace vantoconnect::testing {

// Only the manager's serial queue writes `pauses`; read it once drained() has returned.
class PausingManager : public GenericConnectionManager {
  public:
    std::vector<unsigned> pauses;

  protected:
    void sleepSeconds(unsigned seconds) override { pauses.push_back(seconds); }
};

inline void aimAt(VantoConnectionManager& manager, std::int32_t port) {
    auto& generic = dynamic_cast<GenericConnectionManager&>(manager);
    generic.setConnectionIPAddress("127.0.0.1");
    generic.VantoPort = port;
}

inline std::shared_ptr<PausingManager> managerFor(std::int32_t port) {
    auto manager = std::make_shared<PausingManager>();
    aimAt(*manager, port);
    return manager;
}

// True once every write body queued on the manager before the call has run.
inline bool drained(GenericConnectionManager& manager,
                    std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    auto reached = std::make_shared<std::promise<void>>();
    auto future = reached->get_future();
    manager.getQueue().async([reached] { reached->set_value(); });
    return future.wait_for(limit) == std::future_status::ready;
}

}  // namespace vantoconnect::testing
