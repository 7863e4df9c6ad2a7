#include "HeldObject.hpp"

#include "InterpreterGate.hpp"

namespace vantopy {

HeldObject::~HeldObject() {
    if (!mObject) {
        return;
    }
    const InterpreterGate::Pass pass;
    if (!pass) {
        // Python is shutting down or gone; there is nothing left to free into.
        mObject.release();
        return;
    }
    py::gil_scoped_acquire gil;
    mObject = py::object();
}

}  // namespace vantopy
