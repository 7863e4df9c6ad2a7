#include "vantoconnect/support/GraphemeCounter.hpp"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/utext.h>

#include <memory>
#include <optional>
#include <stdexcept>

namespace vantoconnect {
namespace {

// Code points whose grapheme break property is Other, Control, CR or LF only: between two of
// them there is always a boundary, except inside CR LF. Latin, Greek and Cyrillic letters,
// typographic punctuation and currency signs cover the text receipts are made of; anything else
// (combining marks, joiners, emoji, regional indicators, Hangul, Indic scripts) goes to the
// engine.
bool neverJoins(char32_t cp) {
    return cp < 0x0300 || (cp >= 0x0370 && cp < 0x0483) || (cp >= 0x2010 && cp < 0x2028) ||
           (cp >= 0x20A0 && cp < 0x20C0);
}

// Decodes one well-formed UTF-8 sequence at text[i]; nullopt for anything malformed, which is
// left to the engine so that both paths treat it alike.
std::optional<char32_t> decode(std::string_view text, std::size_t& i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    std::size_t length;
    char32_t cp;
    if (lead < 0x80) {
        ++i;
        return lead;
    } else if (lead >= 0xC2 && lead < 0xE0) {
        length = 2;
        cp = lead & 0x1F;
    } else if (lead >= 0xE0 && lead < 0xF0) {
        length = 3;
        cp = lead & 0x0F;
    } else {
        return std::nullopt;  // four-byte sequences are all outside the fast set
    }
    if (text.size() - i < length) {
        return std::nullopt;
    }
    for (std::size_t k = 1; k < length; ++k) {
        const unsigned char c = byte(i + k);
        if ((c & 0xC0) != 0x80) {
            return std::nullopt;
        }
        cp = (cp << 6) | (c & 0x3F);
    }
    if ((length == 3 && cp < 0x0800) || (cp >= 0xD800 && cp < 0xE000)) {
        return std::nullopt;
    }
    i += length;
    return cp;
}

std::optional<std::int64_t> countWithoutEngine(std::string_view text) {
    // Plain ASCII without CR, the usual receipt text: one character per byte.
    std::size_t i = 0;
    while (i < text.size() && static_cast<unsigned char>(text[i]) < 0x80 && text[i] != '\r') {
        ++i;
    }
    auto clusters = static_cast<std::int64_t>(i);
    bool afterCR = false;
    while (i < text.size()) {
        const unsigned char byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x80 && byte != '\r' && byte != '\n') {
            ++clusters;
            afterCR = false;
            ++i;
            continue;
        }
        const auto cp = decode(text, i);
        if (!cp || !neverJoins(*cp)) {
            return std::nullopt;
        }
        if (!(afterCR && *cp == U'\n')) {
            ++clusters;
        }
        afterCR = *cp == U'\r';
    }
    return clusters;
}

icu::BreakIterator& threadEngine() {
    thread_local std::unique_ptr<icu::BreakIterator> engine = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> made(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status) || !made) {
            throw std::runtime_error(std::string("cannot create the character break engine: ") +
                                     u_errorName(status));
        }
        return made;
    }();
    return *engine;
}

}  // namespace

std::int64_t GraphemeCounter::count(std::string_view utf8) {
    if (const auto fast = countWithoutEngine(utf8)) {
        return *fast;
    }
    return countWithBreakIterator(utf8);
}

std::int64_t GraphemeCounter::countWithBreakIterator(std::string_view utf8) {
    if (utf8.empty()) {
        return 0;
    }
    UErrorCode status = U_ZERO_ERROR;
    UText text = UTEXT_INITIALIZER;
    utext_openUTF8(&text, utf8.data(), static_cast<int64_t>(utf8.size()), &status);
    icu::BreakIterator& engine = threadEngine();
    engine.setText(&text, status);
    if (U_FAILURE(status)) {
        utext_close(&text);
        throw std::runtime_error(std::string("cannot segment text: ") + u_errorName(status));
    }
    std::int64_t clusters = 0;
    engine.first();
    while (engine.next() != icu::BreakIterator::DONE) {
        ++clusters;
    }
    // The engine keeps its own shallow clone of the text; leave it pointing at nothing of ours.
    UText empty = UTEXT_INITIALIZER;
    utext_openUTF8(&empty, "", 0, &status);
    engine.setText(&empty, status);
    utext_close(&empty);
    utext_close(&text);
    return clusters;
}

}  // namespace vantoconnect
