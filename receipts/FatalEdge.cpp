#include "receipts/FatalEdge.hpp"

#include "vantoconnect/support/Fatal.hpp"

namespace vantoreceipts {

std::string FatalEdge::explain(std::string_view what) {
    if (what == vantoconnect::fatal::NIL_UNWRAP) {
        return "the unit closed the connection instead of answering, which the library treats "
               "as fatal (" +
               std::string(what) + ")";
    }
    return "the library reached one of its fatal edges: " + std::string(what);
}

}  // namespace vantoreceipts
