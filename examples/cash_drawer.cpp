// Reads the cash drawer and opens it if it is closed.
//
//   example_cash_drawer [ADDRESS [PORT]]     (defaults 127.0.0.1 and 8080: an emulated unit
//                                             started with `vanto emulate`)

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"

using namespace vantoconnect;

int main(int argc, char** argv) {
    const std::string address = argc > 1 ? argv[1] : "127.0.0.1";
    const int port = argc > 2 ? std::atoi(argv[2]) : 8080;

    Vanto vanto(ResilientOptions{.address = address, .port = port});

    // Both calls block until the unit answers or a time limit passes (3 s to connect, 5 s for
    // the answer); keep them off a user-interface thread.
    try {
        const bool closed = vanto.cashDrawerStatus() == Vanto::CASH_DRAWER_STATUS_CLOSED;
        std::cout << "drawer is " << (closed ? "closed" : "open") << '\n';

        // Asks the drawer again and sends the open pulse only when it is closed.
        if (vanto.openCashDrawer()) {
            // The pulse goes out on the library's queue and the unit does not confirm it: this
            // says it was handed over, not that the drawer moved. Read the status again to know.
            std::cout << "open pulse queued (the unit does not confirm it)\n";
        } else {
            std::cout << "drawer already open, nothing sent\n";
        }
    } catch (const VantoError& error) {
        // GENERIC: the unit could not be reached or sent no drawer answer; CONNECTION_LOST: it
        // closed the connection or said nothing in time.
        std::cerr << "cash drawer: " << error.message() << '\n';
        return 1;
    }
    return 0;
}
