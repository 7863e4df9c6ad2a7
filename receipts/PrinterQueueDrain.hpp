#pragma once

// Waiting for the library's printer queue to fall idle, for the doors' emulated units and test
// helpers. The queue belongs to the whole process, and a unit stopped while the library waits
// for its answer to a print packet ends the process: a unit is stopped only once the queue is
// idle.

#include <chrono>

namespace vantoreceipts {

class PrinterQueueDrain {
  public:
    // Idle: no poll scheduled or running and no receipt being sent. A job leaves the timer
    // thread as soon as its packets are queued, and the printing flag stays up until the
    // connection has got through them. False when `limit` passed first.
    static bool waitUntilIdle(std::chrono::milliseconds limit);

    // Seconds as bindings take them: anything past a day (or not a number) is a day, which no
    // one waits for and which keeps the clock's count from overflowing; negative is zero.
    static std::chrono::milliseconds fromSeconds(double seconds);
};

}  // namespace vantoreceipts
