#pragma once

// The sentence a door gives its caller when the library reaches one of its fatal edges on the
// caller's own thread: C++ lets such an edge end the process, while the C API and the Python
// package catch it there and report it. The usual cause is not misuse but a unit that closed
// the connection where the library waited for an answer, so that edge is named as such.

#include <string>
#include <string_view>

namespace vantoreceipts {

class FatalEdge {
  public:
    // `what` is the library's own message for the edge (FatalError::what()).
    static std::string explain(std::string_view what);
};

}  // namespace vantoreceipts
