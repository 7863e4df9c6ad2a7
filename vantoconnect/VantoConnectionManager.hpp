#pragma once

#include <cstdint>
#include <string>

namespace vantoconnect {

// The application's view of the connection to the unit.
class VantoConnectionManager {
  public:
    virtual ~VantoConnectionManager() = default;

    // STATUS_NOT_INITIALISED (-1), STATUS_NOT_CONNECTED (0) or STATUS_CONNECTED_WIFI (2).
    virtual std::int64_t getConnectionStatus() = 0;
    // The unit's IPv4 address for the next connection; not validated.
    virtual void setConnectionIPAddress(const std::string& IPAddress) = 0;
    virtual std::string getConnectionIPAddress() = 0;
    // Closes the current socket.
    virtual void disconnect() = 0;
};

}  // namespace vantoconnect
