#include "base/record_file.h"

#include "base/files.h"

namespace brellow {

RecordFile::RecordFile(const std::filesystem::path& directory, const std::string& fileName)
    : path_(directory / fileName) {
    std::error_code ignored;
    std::filesystem::create_directories(directory, ignored);
}

std::optional<nlohmann::json> RecordFile::load() const {
    auto bytes = readRegularFile(path_, std::size_t{1} << 20);
    if (!bytes) return std::nullopt;
    auto object = nlohmann::json::parse(*bytes, nullptr, false);
    if (object.is_discarded() || !object.is_object()) return std::nullopt;
    return object;
}

void RecordFile::save(const nlohmann::json& object) const {
    (void)replaceFileAtomically(
        path_, object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void RecordFile::remove() const {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

std::optional<std::string> requiredString(const nlohmann::json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_string()) return std::nullopt;
    return it->get<std::string>();
}

std::optional<bool> requiredBool(const nlohmann::json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_boolean()) return std::nullopt;
    return it->get<bool>();
}

std::optional<std::int64_t> requiredInteger(const nlohmann::json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_number_integer()) return std::nullopt;
    if (it->is_number_unsigned() &&
        it->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX))
        return std::nullopt;
    return it->get<std::int64_t>();
}

}  // namespace brellow
