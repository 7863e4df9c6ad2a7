#pragma once

// The dashboard's page, script, style sheet and icon, compiled into the program from
// emulator/dashboard/ at build time, so the page works offline and nothing is read from disk.

#include <string_view>

namespace vantoemu {

class DashboardAssets {
  public:
    struct Asset {
        std::string_view name;  // the file name under emulator/dashboard/
        std::string_view contentType;
        std::string_view body;
    };

    // The asset of that file name, or nullptr.
    static const Asset* find(std::string_view name);
};

}  // namespace vantoemu
