#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

namespace vantoconnect {

class AbstractConnectionManager;
class LinkEncoder;
class ORBAMessage;

// Diagnostic and cosmetic LEDs. Fire and forget: no answer is awaited and nothing is reported.
class VantoLedController {
  public:
    explicit VantoLedController(
        std::shared_ptr<AbstractConnectionManager> abstractConnectionManager);
    ~VantoLedController();
    VantoLedController(const VantoLedController&) = delete;
    VantoLedController& operator=(const VantoLedController&) = delete;

    // position: a VantoDiagnosticLEDS value; color: an LED_ value of VantoColorCodes, passed on
    // unchecked (OrbaIOState::NA_NUMBER leaves the LED alone). Each position owns two bits of
    // a 32-bit word that goes out a byte at a time, and a byte must stay below 0x80. So these
    // stop the process before anything is sent: LED_PED (3), and likewise 7, 11 and 15, whose
    // mask byte is 0xC0, with any color but NA_NUMBER; a color whose bits reach the top of a
    // byte; a negative position, and one of 32 or more.
    void setDiagnosticLed(std::int64_t position, std::int64_t color);
    // color: a COSMETIC_ value of VantoColorCodes; any other value sends an empty change.
    void setCosmeticLedCol(std::int64_t color);

  private:
    void writeFrame(const ORBAMessage& message);

    std::shared_ptr<AbstractConnectionManager> mPort;
    // One encoder for every request; encoding runs on the caller's thread, so it is locked.
    std::unique_ptr<LinkEncoder> linkEncoder;
    std::mutex encoderMutex;
};

}  // namespace vantoconnect
