#pragma once

// Collects the library's console lines while in scope, instead of letting them reach standard
// output, so tests can assert them to the character.

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace vantoconnect::testing {

class ConsoleCapture {
  public:
    ConsoleCapture();
    ~ConsoleCapture();
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    std::vector<std::string> lines() const;
    // How many captured lines equal the text exactly.
    std::size_t count(std::string_view line) const;
    bool contains(std::string_view line) const { return count(line) > 0; }
    void clear();

  private:
    mutable std::mutex mMutex;
    std::vector<std::string> mLines;
};

}  // namespace vantoconnect::testing
