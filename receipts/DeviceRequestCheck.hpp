#pragma once

// Device requests the library would send as something other than was meant, or stop the
// process on, refused with a reason before they reach it. The library takes any integer for an
// LED position or colour: an unknown cosmetic colour goes out and changes nothing, a diagnostic
// colour past 3 spills into the next LED's bits, and a position whose request has a byte of
// 0x80 or more (LED_PED's mask is 0xC0) stops the process. Every door we open (the command
// line, the C API, the Python package) asks here first.
//
// Every check throws ReceiptInputError with a one-line reason.

#include <cstdint>

namespace vantoreceipts {

class DeviceRequestCheck {
  public:
    // position: a VantoDiagnosticLEDS value; colour: an LED_ value of VantoColorCodes.
    static void diagnosticLed(std::int64_t position, std::int64_t colour);
    // colour: a COSMETIC_ value of VantoColorCodes.
    static void cosmeticColour(std::int64_t colour);
    // A TCP port the connection manager can use: 1...65535.
    static void port(std::int64_t port);
};

}  // namespace vantoreceipts
