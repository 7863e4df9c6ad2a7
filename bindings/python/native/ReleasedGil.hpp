#pragma once

// Lets go of the GIL for a scope when this thread holds it. Destructors of objects that Python
// owns use it: they may wait for the library's threads, which may be waiting for the GIL to run
// a callback. pybind11's gil_scoped_release may only be used with the GIL held.

#include <pybind11/pybind11.h>

namespace vantopy {

class ReleasedGil {
  public:
    ReleasedGil() noexcept : mState(PyGILState_Check() != 0 ? PyEval_SaveThread() : nullptr) {}
    ~ReleasedGil() {
        if (mState != nullptr) {
            PyEval_RestoreThread(mState);
        }
    }
    ReleasedGil(const ReleasedGil&) = delete;
    ReleasedGil& operator=(const ReleasedGil&) = delete;

  private:
    PyThreadState* mState;
};

}  // namespace vantopy
