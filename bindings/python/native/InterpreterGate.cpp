#include "InterpreterGate.hpp"

#include <pybind11/pybind11.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace vantopy {

namespace {

struct Gate {
    std::mutex mutex;
    std::condition_variable left;
    bool closed = false;
    std::size_t inside = 0;
};

// Never destroyed: library threads may still knock after static destructors have run.
Gate& gate() {
    static Gate* const shared = new Gate();
    return *shared;
}

bool interpreterGone() noexcept {
#if PY_VERSION_HEX >= 0x030D0000
    return Py_IsInitialized() == 0 || Py_IsFinalizing() != 0;
#else
    return Py_IsInitialized() == 0 || _Py_IsFinalizing() != 0;
#endif
}

}  // namespace

InterpreterGate::Pass::Pass() noexcept : mEntered(false) {
    Gate& g = gate();
    const std::lock_guard lock(g.mutex);
    if (!g.closed && !interpreterGone()) {
        ++g.inside;
        mEntered = true;
    }
}

InterpreterGate::Pass::~Pass() {
    if (!mEntered) {
        return;
    }
    Gate& g = gate();
    const std::lock_guard lock(g.mutex);
    --g.inside;
    g.left.notify_all();
}

bool InterpreterGate::close(std::chrono::milliseconds limit) noexcept {
    Gate& g = gate();
    std::unique_lock lock(g.mutex);
    g.closed = true;
    // A thread still inside past the limit (a callback that never returns) may yet be ended by
    // Python; waiting for ever would hang the exit instead.
    return g.left.wait_for(lock, limit, [&g] { return g.inside == 0; });
}

}  // namespace vantopy
