#include "base/text.h"

#include <algorithm>
#include <array>
#include <cctype>

#include <glib.h>

namespace brellow {

namespace {

constexpr std::array<char32_t, 25> kWhiteSpace = {
    0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,   0x85,   0xA0,   0x1680,
    0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005, 0x2006, 0x2007, 0x2008,
    0x2009, 0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000};

bool isWhiteSpace(char32_t c) {
    return std::find(kWhiteSpace.begin(), kWhiteSpace.end(), c) != kWhiteSpace.end();
}

// Decodes one UTF-8 character starting at `pos`; returns its length, 0 when malformed.
std::size_t decodeAt(std::string_view text, std::size_t pos, char32_t& out) {
    const auto byte = static_cast<unsigned char>(text[pos]);
    std::size_t length = 0;
    if (byte < 0x80) {
        out = byte;
        return 1;
    }
    if ((byte & 0xE0) == 0xC0) {
        length = 2;
        out = byte & 0x1F;
    } else if ((byte & 0xF0) == 0xE0) {
        length = 3;
        out = byte & 0x0F;
    } else if ((byte & 0xF8) == 0xF0) {
        length = 4;
        out = byte & 0x07;
    } else {
        return 0;
    }
    if (pos + length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[pos + i]);
        if ((next & 0xC0) != 0x80) return 0;
        out = (out << 6) | (next & 0x3F);
    }
    return length;
}

// Start of the UTF-8 character that ends just before `end`.
std::size_t previousStart(std::string_view text, std::size_t end) {
    std::size_t pos = end - 1;
    while (pos > 0 && (static_cast<unsigned char>(text[pos]) & 0xC0) == 0x80 && end - pos < 4) {
        --pos;
    }
    return pos;
}

}  // namespace

std::string trimWhitespace(std::string_view text) {
    std::size_t begin = 0;
    while (begin < text.size()) {
        char32_t c = 0;
        const std::size_t length = decodeAt(text, begin, c);
        if (length == 0 || !isWhiteSpace(c)) break;
        begin += length;
    }
    std::size_t end = text.size();
    while (end > begin) {
        const std::size_t start = previousStart(text, end);
        char32_t c = 0;
        if (decodeAt(text, start, c) != end - start || !isWhiteSpace(c)) break;
        end = start;
    }
    return std::string(text.substr(begin, end - begin));
}

std::string toLowerUnicode(std::string_view text) {
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
        std::string lowered(text);
        std::transform(lowered.begin(), lowered.end(), lowered.begin(), [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        return lowered;
    }
    gchar* lowered = g_utf8_strdown(text.data(), static_cast<gssize>(text.size()));
    std::string result(lowered);
    g_free(lowered);
    return result;
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

}  // namespace brellow
