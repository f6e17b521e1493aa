#include "base/uuid.h"

#include <cstring>

#include <uuid/uuid.h>

namespace brellow {

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isHyphenPosition(std::size_t i) {
    return i == 8 || i == 13 || i == 18 || i == 23;
}

}  // namespace

Uuid Uuid::generate() {
    Uuid id;
    uuid_t raw;
    uuid_generate_random(raw);
    std::memcpy(id.bytes_.data(), raw, id.bytes_.size());
    return id;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    Uuid id;
    std::size_t byte = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (isHyphenPosition(i)) {
            if (text[i] != '-') return std::nullopt;
            ++i;
            continue;
        }
        const int high = hexValue(text[i]);
        const int low = hexValue(text[i + 1]);
        if (high < 0 || low < 0 || isHyphenPosition(i + 1)) return std::nullopt;
        id.bytes_[byte++] = static_cast<std::uint8_t>(high * 16 + low);
        i += 2;
    }
    return id;
}

std::string Uuid::toString() const {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
        text.push_back(kDigits[bytes_[i] >> 4]);
        text.push_back(kDigits[bytes_[i] & 0x0F]);
    }
    return text;
}

bool Uuid::isNil() const {
    return *this == Uuid{};
}

}  // namespace brellow

std::size_t std::hash<brellow::Uuid>::operator()(const brellow::Uuid& id) const noexcept {
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    std::memcpy(&a, id.bytes().data(), 8);
    std::memcpy(&b, id.bytes().data() + 8, 8);
    return std::hash<std::uint64_t>{}(a ^ (b * 0x9E3779B97F4A7C15ULL));
}
