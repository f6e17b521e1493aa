#pragma once
// 128-bit identifiers. Written in canonical upper-case 8-4-4-4-12 form; read in either case.
#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace brellow {

class Uuid {
  public:
    Uuid() = default;  // the nil identifier

    static Uuid generate();
    /// Parses the canonical 36-character form with hyphens, hexadecimal digits in either case.
    static std::optional<Uuid> parse(std::string_view text);

    std::string toString() const;  // upper case
    bool isNil() const;
    const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

    friend bool operator==(const Uuid&, const Uuid&) = default;
    friend auto operator<=>(const Uuid&, const Uuid&) = default;

  private:
    std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace brellow

template <>
struct std::hash<brellow::Uuid> {
    std::size_t operator()(const brellow::Uuid& id) const noexcept;
};
