#pragma once

// The way in to Python for the library's threads (print callbacks, the console sink, objects
// they let go of). Once the interpreter has begun to finalize, a thread that takes the GIL, or
// that was already waiting for it, is ended by Python on the spot with a forced unwind; in a
// library thread that unwind meets noexcept frames and ends the process. So the package closes
// this gate at exit (atexit runs before finalizing begins), waits for the threads already
// inside, and from then on the library's threads leave Python alone: callbacks are skipped and
// objects leaked.

#include <chrono>

namespace vantopy {

class InterpreterGate {
  public:
    // Held by a library thread for as long as it may take the GIL.
    class Pass {
      public:
        Pass() noexcept;
        ~Pass();
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;

        // False once the gate is closed or the interpreter is gone: touch nothing of Python.
        explicit operator bool() const noexcept { return mEntered; }

      private:
        bool mEntered;
    };

    // From atexit, without the GIL: no thread enters after this, and the threads inside get
    // up to `limit` to leave. False when one is still inside (a callback that never returns).
    static bool close(std::chrono::milliseconds limit) noexcept;
};

}  // namespace vantopy
