#pragma once
// The one JSON encoding of a show, in two styles: the file style of "show.json" (pretty,
// keys sorted, "/" escaped) and the compact style sent to the page in state snapshots.
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "base/result.h"
#include "model/show.h"

namespace brellow {

struct CodecError {
    std::string message;
};

enum class JsonStyle { file, compact };

/// Largest nesting a show document may have; real shows need five levels.
inline constexpr int kMaxShowJsonDepth = 64;

Result<Show, CodecError> decodeShow(std::string_view bytes);
Result<Show, CodecError> decodeShowJson(const nlohmann::json& root);

/// Fails when a number is not finite (NaN or infinity).
Result<std::string, CodecError> encodeShow(const Show& show, JsonStyle style);
Result<nlohmann::json, CodecError> showToJson(const Show& show);

/// A double as its shortest JSON number: integral values without a fraction.
nlohmann::json jsonNumber(double value);

}  // namespace brellow
