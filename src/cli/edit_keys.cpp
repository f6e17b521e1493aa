#include "cli/edit_keys.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace brellow::cli {

namespace {

const std::map<std::string_view, std::vector<std::string_view>, std::less<>>& keyTable() {
    static const std::map<std::string_view, std::vector<std::string_view>, std::less<>> table = {
        {"setTrim", {"stingID", "inSec", "outSec"}},
        {"setLoop", {"stingID", "enabled"}},
        {"setFade", {"stingID", "fadeInSec", "fadeOutSec"}},
        {"setHotkey", {"stingID", "key"}},
        {"removeSting", {"stingID"}},
        {"reorder", {"pageID", "stingIDs"}},
        {"rename", {"stingID", "name"}},
        {"setSoloMode", {"enabled"}},
        {"createPage", {"name"}},
        {"renamePage", {"pageID", "name"}},
        {"deletePage", {"pageID"}},
        {"setActivePage", {"pageID"}},
        {"reorderPages", {"pageIDs"}},
    };
    return table;
}

// Edit distance ignoring case, so "StingId" and "stingid" are near "stingID".
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            const bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                              std::tolower(static_cast<unsigned char>(b[j - 1]));
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

}  // namespace

const std::vector<std::string_view>& editKeys(std::string_view name) {
    static const std::vector<std::string_view> none;
    const auto found = keyTable().find(name);
    return found == keyTable().end() ? none : found->second;
}

std::optional<std::string> unknownEditKey(std::string_view name, const nlohmann::json& body) {
    if (!body.is_object()) return std::nullopt;
    const auto& keys = editKeys(name);
    for (const auto& item : body.items()) {
        const std::string& key = item.key();
        if (std::find(keys.begin(), keys.end(), key) != keys.end()) continue;
        std::string text = std::string(name) + " does not take the key \u201c" + key + "\u201d";
        const auto nearest = std::min_element(keys.begin(), keys.end(), [&](auto a, auto b) {
            return distance(key, a) < distance(key, b);
        });
        // Only a plausible misspelling is suggested: at most a third of the letters differ.
        if (nearest != keys.end() &&
            distance(key, *nearest) * 3 <= std::max<std::size_t>(3, key.size()))
            text += " (did you mean \u201c" + std::string(*nearest) + "\u201d?)";
        text += "; it takes ";
        for (std::size_t i = 0; i < keys.size(); ++i)
            text += (i == 0 ? "" : ", ") + std::string(keys[i]);
        return text;
    }
    return std::nullopt;
}

}  // namespace brellow::cli
