// Reads the cash drawer and opens it if it is closed.
//
//   example_cash_drawer [unit-address]     (default 127.0.0.1, where an emulated unit listens)

#include <iostream>
#include <string>

#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoConnectionManager.hpp"
#include "vantoconnect/VantoError.hpp"

using namespace vantoconnect;

int main(int argc, char** argv) {
    const std::string address = argc > 1 ? argv[1] : "127.0.0.1";

    Vanto vanto;
    vanto.getConnectionManager()->setConnectionIPAddress(address);

    // Both calls block until the unit answers; keep them off a user-interface thread.
    try {
        const bool closed = vanto.cashDrawerStatus() == Vanto::CASH_DRAWER_STATUS_CLOSED;
        std::cout << "drawer is " << (closed ? "closed" : "open") << '\n';

        // Asks the drawer again and sends the open pulse only when it is closed.
        if (vanto.openCashDrawer()) {
            std::cout << "open pulse sent\n";
        } else {
            std::cout << "drawer already open, nothing sent\n";
        }
    } catch (const VantoError& error) {
        std::cerr << "cash drawer: " << error.message() << '\n';
        return 1;
    }
    return 0;
}
