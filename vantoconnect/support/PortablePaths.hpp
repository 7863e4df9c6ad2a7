#pragma once

// The link codecs (check value, escaping, unescaping, hexadecimal dump) take block
// instructions (SSSE3 shuffles, carry-less multiply) where the processor has them, and a
// portable path of plain C++ otherwise. Both paths give the same bytes. Tests and benchmarks
// force the portable paths on a machine that has the instructions, so that both are checked
// and measured there; nothing in the library sets it.

#include <atomic>

namespace vantoconnect {

class PortablePaths {
  public:
    static void force(bool portable) { forcedFlag.store(portable, std::memory_order_relaxed); }
    static bool forced() { return forcedFlag.load(std::memory_order_relaxed); }

  private:
    inline static std::atomic<bool> forcedFlag{false};
};

}  // namespace vantoconnect
