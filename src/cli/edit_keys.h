#pragma once
// The keys each edit's JSON body takes, so that a misspelt key is refused and named instead
// of being ignored (the page's parser ignores keys it does not know, which would turn
// `{"inSecs": 2}` into a silent "no trim").
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace brellow::cli {

/// The keys the edit `name` takes; empty for a name that is no edit.
const std::vector<std::string_view>& editKeys(std::string_view name);

/// The first key of `body` that the edit `name` does not take, as a sentence for the operator
/// naming the key, the nearest known key and the keys taken; nullopt when all are known.
std::optional<std::string> unknownEditKey(std::string_view name, const nlohmann::json& body);

}  // namespace brellow::cli
