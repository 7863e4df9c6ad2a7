#pragma once

// One user-perceived character (an extended grapheme cluster) held as its UTF-8 bytes. Making one
// from text that is not exactly one character (empty, or two or more) stops the process: a
// separator line that silently printed two characters per column would overrun the paper.
// The NUL character is a character ("\0" as a one-byte string).

#include <cstddef>
#include <string>
#include <string_view>

namespace vantoconnect {

class Character {
  public:
    Character(std::string utf8);  // NOLINT: implicit, so that line.chr = "=" reads naturally
    // From a string literal, whose bytes are all taken: "\0" is the NUL character.
    template <std::size_t N>
    Character(const char (&literal)[N]) : Character(std::string(literal, N - 1)) {}  // NOLINT

    const std::string& str() const { return mUtf8; }
    operator const std::string&() const { return mUtf8; }  // NOLINT
    bool isNul() const { return mUtf8.size() == 1 && mUtf8[0] == '\0'; }

    friend bool operator==(const Character& a, const Character& b) { return a.mUtf8 == b.mUtf8; }
    friend bool operator==(const Character& a, std::string_view b) { return a.mUtf8 == b; }
    template <std::size_t N>
    friend bool operator==(const Character& a, const char (&literal)[N]) {
        return a.mUtf8 == std::string_view(literal, N - 1);
    }

  private:
    std::string mUtf8;
};

}  // namespace vantoconnect
