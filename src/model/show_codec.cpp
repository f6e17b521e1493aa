#include "model/show_codec.h"

#include <cmath>

namespace brellow {

using nlohmann::json;

namespace {

// Raised inside the decoder only; turned into a CodecError at the border.
struct DecodeFailure {
    std::string message;
};

[[noreturn]] void failAt(const std::string& where, const std::string& reason) {
    throw DecodeFailure{where.empty() ? reason : where + ": " + reason};
}

// Reads the fields of one JSON object, with `where` naming it in error messages.
class ObjectReader {
  public:
    ObjectReader(const json& value, std::string where) : where_(std::move(where)) {
        if (!value.is_object()) failAt(where_, "expected an object");
        object_ = &value;
    }

    // The value under `key`, or null when the key is missing or null.
    const json* find(const char* key) const {
        const auto it = object_->find(key);
        if (it == object_->end() || it->is_null()) return nullptr;
        return &*it;
    }

    const json& require(const char* key) const {
        const json* value = find(key);
        if (value == nullptr) failAt(path(key), "key missing");
        return *value;
    }

    std::string string(const char* key) const { return asString(require(key), key); }

    std::optional<std::string> optionalString(const char* key) const {
        const json* value = find(key);
        return value ? std::optional(asString(*value, key)) : std::nullopt;
    }

    double number(const char* key) const { return asNumber(require(key), key); }

    std::optional<double> optionalNumber(const char* key) const {
        const json* value = find(key);
        return value ? std::optional(asNumber(*value, key)) : std::nullopt;
    }

    bool boolean(const char* key, bool fallback) const {
        const json* value = find(key);
        if (value == nullptr) return fallback;
        if (!value->is_boolean()) failAt(path(key), "expected a boolean");
        return value->get<bool>();
    }

    std::int64_t integer(const char* key, std::int64_t fallback) const {
        const json* value = find(key);
        if (value == nullptr) return fallback;
        if (value->is_number_integer()) {
            if (value->is_number_unsigned() &&
                value->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
                failAt(path(key), "integer out of range");
            }
            return value->get<std::int64_t>();
        }
        if (value->is_number_float()) {
            const double d = value->get<double>();
            if (std::trunc(d) == d && d >= -9.2e18 && d <= 9.2e18) {
                return static_cast<std::int64_t>(d);
            }
        }
        failAt(path(key), "expected an integer");
    }

    Uuid uuid(const char* key) const {
        const std::string text = string(key);
        const auto id = Uuid::parse(text);
        if (!id) failAt(path(key), "malformed UUID");
        return *id;
    }

    std::string path(const char* key) const { return where_.empty() ? key : where_ + "." + key; }

  private:
    std::string asString(const json& value, const char* key) const {
        if (!value.is_string()) failAt(path(key), "expected a string");
        return value.get<std::string>();
    }

    double asNumber(const json& value, const char* key) const {
        if (!value.is_number()) failAt(path(key), "expected a number");
        return value.get<double>();
    }

    const json* object_ = nullptr;
    std::string where_;
};

Sting decodeSting(const json& value, const std::string& where) {
    const ObjectReader in(value, where);
    Sting sting;
    sting.id = in.uuid("id");
    sting.name = in.string("name");
    sting.mediaFilename = in.string("mediaFilename");
    sting.waveformFilename = in.optionalString("waveformFilename");
    sting.durationSec = in.number("durationSec");
    sting.volumeDB = in.optionalNumber("volumeDB").value_or(0);
    sting.trimInSec = in.optionalNumber("trimInSec");
    sting.trimOutSec = in.optionalNumber("trimOutSec");
    sting.fadeInSec = in.optionalNumber("fadeInSec").value_or(0);
    sting.fadeOutSec = in.optionalNumber("fadeOutSec").value_or(0);
    sting.loop = in.boolean("loop", false);
    if (const auto raw = in.optionalString("colorLabel")) {
        const auto label = colorLabelFromRawValue(*raw);
        if (!label) failAt(in.path("colorLabel"), "unknown colour label \"" + *raw + "\"");
        sting.colorLabel = *label;
    }
    sting.hotkey = in.optionalString("hotkey");
    return sting;
}

std::vector<Sting> decodeStingList(const json& value, const std::string& where) {
    if (!value.is_array()) failAt(where, "expected a list");
    std::vector<Sting> stings;
    stings.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
        stings.push_back(decodeSting(value[i], where + "[" + std::to_string(i) + "]"));
    }
    return stings;
}

Page decodePage(const json& value, const std::string& where) {
    const ObjectReader in(value, where);
    Page page;
    page.id = in.uuid("id");
    page.name = in.string("name");
    page.stings = decodeStingList(in.require("stings"), in.path("stings"));
    return page;
}

Show decodeShowObject(const json& root) {
    const ObjectReader in(root, "");
    Show show;
    show.schemaVersion = in.integer("schemaVersion", 1);
    show.name = in.string("name");

    const json* pages = in.find("pages");
    if (pages != nullptr && !pages->is_array()) failAt("pages", "expected a list");
    if (pages != nullptr && !pages->empty()) {
        for (std::size_t i = 0; i < pages->size(); ++i) {
            show.pages.push_back(decodePage((*pages)[i], "pages[" + std::to_string(i) + "]"));
        }
        const json* active = in.find("activePageID");
        show.activePageID = active != nullptr ? in.uuid("activePageID") : show.pages[0].id;
        if (!locatePage(show, show.activePageID)) show.activePageID = show.pages[0].id;
    } else {
        // Single-page layout: the stings sit directly on the show.
        Page page;
        page.id = Uuid::generate();
        page.name = "Main";
        if (const json* stings = in.find("stings"))
            page.stings = decodeStingList(*stings, "stings");
        show.activePageID = page.id;
        show.pages.push_back(std::move(page));
    }

    show.masterVolumeDB = in.optionalNumber("masterVolumeDB").value_or(0);
    show.outputDeviceUID = in.optionalString("outputDeviceUID");
    show.soloMode = in.boolean("soloMode", true);
    return show;
}

// Nesting depth of a JSON text, counted without parsing it, so hostile input is refused
// before any tree is built.
bool nestingExceeds(std::string_view bytes, int limit) {
    int depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char c : bytes) {
        if (inString) {
            if (escaped) {
                escaped = false;
            } else if (c == '\\') {
                escaped = true;
            } else if (c == '"') {
                inString = false;
            }
            continue;
        }
        if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > limit) return true;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

struct EncodeFailure {
    std::string message;
};

json encodeNumber(double value, const char* field) {
    if (!std::isfinite(value)) {
        throw EncodeFailure{std::string("cannot encode non-finite number in ") + field};
    }
    return jsonNumber(value);
}

json encodeSting(const Sting& sting) {
    json out = json::object();
    out["id"] = sting.id.toString();
    out["name"] = sting.name;
    out["mediaFilename"] = sting.mediaFilename;
    if (sting.waveformFilename) out["waveformFilename"] = *sting.waveformFilename;
    out["durationSec"] = encodeNumber(sting.durationSec, "durationSec");
    out["volumeDB"] = encodeNumber(sting.volumeDB, "volumeDB");
    if (sting.trimInSec) out["trimInSec"] = encodeNumber(*sting.trimInSec, "trimInSec");
    if (sting.trimOutSec) out["trimOutSec"] = encodeNumber(*sting.trimOutSec, "trimOutSec");
    out["fadeInSec"] = encodeNumber(sting.fadeInSec, "fadeInSec");
    out["fadeOutSec"] = encodeNumber(sting.fadeOutSec, "fadeOutSec");
    out["loop"] = sting.loop;
    out["colorLabel"] = colorLabelRawValue(sting.colorLabel);
    if (sting.hotkey) out["hotkey"] = *sting.hotkey;
    return out;
}

json encodeShowObject(const Show& show) {
    json pages = json::array();
    for (const Page& page : show.pages) {
        json stings = json::array();
        for (const Sting& sting : page.stings)
            stings.push_back(encodeSting(sting));
        pages.push_back({{"id", page.id.toString()}, {"name", page.name}, {"stings", stings}});
    }
    json out = json::object();
    out["schemaVersion"] = show.schemaVersion;
    out["name"] = show.name;
    out["pages"] = std::move(pages);
    out["activePageID"] = show.activePageID.toString();
    out["masterVolumeDB"] = encodeNumber(show.masterVolumeDB, "masterVolumeDB");
    if (show.outputDeviceUID) out["outputDeviceUID"] = *show.outputDeviceUID;
    out["soloMode"] = show.soloMode;
    return out;
}

std::string escapeSlashes(const std::string& text) {
    std::string out;
    out.reserve(text.size() + 16);
    for (const char c : text) {
        // In serialised JSON a slash can only stand inside a string.
        if (c == '/') out.push_back('\\');
        out.push_back(c);
    }
    return out;
}

}  // namespace

json jsonNumber(double value) {
    constexpr double kExactIntegerLimit = 9007199254740992.0;  // 2^53
    if (std::trunc(value) == value && std::fabs(value) < kExactIntegerLimit &&
        !(value == 0 && std::signbit(value))) {
        return static_cast<std::int64_t>(value);
    }
    return value;
}

Result<Show, CodecError> decodeShowJson(const json& root) {
    try {
        return decodeShowObject(root);
    } catch (const DecodeFailure& failure) {
        return fail(CodecError{failure.message});
    }
}

Result<Show, CodecError> decodeShow(std::string_view bytes) {
    if (nestingExceeds(bytes, kMaxShowJsonDepth)) {
        return fail(CodecError{"JSON nested too deeply"});
    }
    json root;
    try {
        root = json::parse(bytes);
    } catch (const json::exception& error) {
        return fail(CodecError{std::string("not valid JSON: ") + error.what()});
    }
    return decodeShowJson(root);
}

Result<json, CodecError> showToJson(const Show& show) {
    try {
        return encodeShowObject(show);
    } catch (const EncodeFailure& failure) {
        return fail(CodecError{failure.message});
    }
}

Result<std::string, CodecError> encodeShow(const Show& show, JsonStyle style) {
    auto object = showToJson(show);
    if (!object) return fail(object.error());
    constexpr auto kInvalidUtf8 = json::error_handler_t::replace;
    if (style == JsonStyle::compact) return object->dump(-1, ' ', false, kInvalidUtf8);
    return escapeSlashes(object->dump(2, ' ', false, kInvalidUtf8)) + "\n";
}

}  // namespace brellow
