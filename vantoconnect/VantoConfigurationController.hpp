#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

namespace vantoconnect {

class AbstractConnectionManager;
class LinkEncoder;
class ORBAMessage;

// USB power, the cash drawer pulse and the cash drawer sensor.
class VantoConfigurationController {
  public:
    explicit VantoConfigurationController(std::shared_ptr<AbstractConnectionManager> mPort);
    ~VantoConfigurationController();
    VantoConfigurationController(const VantoConfigurationController&) = delete;
    VantoConfigurationController& operator=(const VantoConfigurationController&) = delete;

    // Fire and forget: nothing is awaited or reported.
    void enableUSB();
    void disableUSB();
    void openCashDrawer();

    // Bit 6 of content byte 6 of the first port-control answer from the drawer channel: 0 or 1.
    // Throws VantoError::GENERIC("Cash drawer status message not received") when no such
    // answer with at least 8 content bytes came back within two seconds of reading.
    std::int64_t cashDrawerStatus();

  private:
    void setUSBPower(std::int64_t setting);
    void writeFrame(const ORBAMessage& message);

    std::shared_ptr<AbstractConnectionManager> mPort;
    std::unique_ptr<LinkEncoder> linkEncoder;
    std::mutex encoderMutex;
};

}  // namespace vantoconnect
