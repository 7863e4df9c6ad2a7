#pragma once

// A Python object kept by something the library owns: a print's future and callbacks, the
// console sink. The library lets go of those on its own threads, where the GIL is not held,
// and at exit, after the interpreter has gone. A plain py::object would then change a reference
// count without the GIL, or in a dead interpreter.

#include <pybind11/pybind11.h>

#include <utility>

namespace vantopy {

namespace py = pybind11;

class HeldObject {
  public:
    // With the GIL held.
    explicit HeldObject(py::object object) noexcept : mObject(std::move(object)) {}
    // On any thread: takes the GIL to let go, and leaks the object once the interpreter gate
    // is closed (see InterpreterGate).
    ~HeldObject();
    HeldObject(const HeldObject&) = delete;
    HeldObject& operator=(const HeldObject&) = delete;

    // With the GIL held.
    const py::object& get() const noexcept { return mObject; }
    // Compares pointers only, so it needs no GIL.
    bool isNone() const noexcept { return !mObject || mObject.is_none(); }
    py::handle handle() const noexcept { return mObject; }

  private:
    py::object mObject;
};

}  // namespace vantopy
