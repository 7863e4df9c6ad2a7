#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "emulator/UnitSnapshot.hpp"

namespace vantoemu {

// The browser dashboard (page, JSON API, live events) of the unit; off unless asked for.
struct DashboardOptions {
    bool enabled = false;
    // Loopback unless asked otherwise: the page can change the unit's faults, so anyone who
    // can reach it can make the printer fail.
    std::string bind = "127.0.0.1";
    std::uint16_t port = 0;  // 0 picks a free port; read it back with dashboardPort()
};

struct UnitOptions {
    std::string bind = "127.0.0.1";
    std::uint16_t port = 8080;   // 0 picks a free port; read it back with port()
    std::string outDir = "out";  // empty: nothing is written to disk
    std::chrono::milliseconds drawerCloseAfter{5000};  // zero: stays open until closeDrawer()
    bool renderReceipts = true;
    // Receipts kept on disk and in memory (older files are deleted); 0 keeps every file, and
    // the newest receipt records in memory.
    std::size_t keep = 0;
    // A connection with nothing to read or write for this long is closed, unless its sender
    // still waits for an answer; zero never closes one.
    std::chrono::milliseconds idleTimeout{0};
    // Open connections beyond which the unit stops accepting new ones until some close. The
    // library leaves the socket of every printer-status query open, so this must exceed what
    // its clients leave behind between idle-timeouts.
    std::size_t maxConnections = 4096;
    // A job whose sender sends nothing for longer than this is put on paper as incomplete.
    // It must exceed the library's longest pause between two packets of one job (200 s).
    std::chrono::milliseconds jobIdleGap{210000};
    // The event log file is renamed to events.1.jsonl and started afresh at this size.
    std::size_t eventLogLimit = 64u << 20;
    DashboardOptions dashboard{};
    // Last, so that designated initialisers that end with it name every field.
    Faults faults;
};

}  // namespace vantoemu
