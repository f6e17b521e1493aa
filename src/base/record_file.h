#pragma once
// A small per-user record kept as one JSON object in a file. Reading answers nothing for a
// missing, unreadable or malformed file; writing is atomic and its failures are silent, as
// such records are only hints (an agreement to ask for again, a tutorial to show again).
#include <filesystem>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace brellow {

class RecordFile {
  public:
    /// Creates `directory` (and its parents) if missing; failures are ignored.
    RecordFile(const std::filesystem::path& directory, const std::string& fileName);

    const std::filesystem::path& fileURL() const { return path_; }
    /// The file's JSON object, or nothing.
    std::optional<nlohmann::json> load() const;
    void save(const nlohmann::json& object) const;
    void remove() const;

  private:
    std::filesystem::path path_;
};

/// Strict field reads for record decoding: the key must be there with exactly that type.
std::optional<std::string> requiredString(const nlohmann::json& object, const char* key);
std::optional<bool> requiredBool(const nlohmann::json& object, const char* key);
/// An integer written without a fraction or exponent; 3.0 and "3" are refused.
std::optional<std::int64_t> requiredInteger(const nlohmann::json& object, const char* key);

}  // namespace brellow
