#include "model/show.h"

#include <algorithm>
#include <array>

namespace brellow {

namespace {

constexpr std::array<std::pair<Sting::ColorLabel, const char*>, 6> kColorLabels = {{
    {Sting::ColorLabel::none, "none"},
    {Sting::ColorLabel::red, "red"},
    {Sting::ColorLabel::amber, "amber"},
    {Sting::ColorLabel::green, "green"},
    {Sting::ColorLabel::blue, "blue"},
    {Sting::ColorLabel::purple, "purple"},
}};

}  // namespace

const char* colorLabelRawValue(Sting::ColorLabel label) {
    for (const auto& [value, raw] : kColorLabels) {
        if (value == label) return raw;
    }
    return "none";
}

std::optional<Sting::ColorLabel> colorLabelFromRawValue(std::string_view raw) {
    for (const auto& [value, text] : kColorLabels) {
        if (raw == text) return value;
    }
    return std::nullopt;
}

Show makeNewShow() {
    Show show;
    show.schemaVersion = 1;
    show.name = "Untitled Show";
    Page page;
    page.id = Uuid::generate();
    page.name = "Main";
    show.activePageID = page.id;
    show.pages.push_back(std::move(page));
    show.masterVolumeDB = 0;
    show.soloMode = true;
    return show;
}

std::vector<Sting> allStings(const Show& show) {
    std::vector<Sting> stings;
    stings.reserve(stingCount(show));
    for (const Page& page : show.pages) {
        stings.insert(stings.end(), page.stings.begin(), page.stings.end());
    }
    return stings;
}

std::size_t stingCount(const Show& show) {
    std::size_t count = 0;
    for (const Page& page : show.pages)
        count += page.stings.size();
    return count;
}

std::optional<StingLocation> locateSting(const Show& show, const Uuid& stingID) {
    for (std::size_t p = 0; p < show.pages.size(); ++p) {
        const auto& stings = show.pages[p].stings;
        for (std::size_t s = 0; s < stings.size(); ++s) {
            if (stings[s].id == stingID) return StingLocation{p, s};
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> locatePage(const Show& show, const Uuid& pageID) {
    for (std::size_t p = 0; p < show.pages.size(); ++p) {
        if (show.pages[p].id == pageID) return p;
    }
    return std::nullopt;
}

std::optional<std::string> nextFreeHotkey(const Show& show, std::size_t pageIndex) {
    if (pageIndex >= show.pages.size()) return std::nullopt;
    const auto& stings = show.pages[pageIndex].stings;
    for (char digit = '1'; digit <= '9'; ++digit) {
        const std::string key(1, digit);
        const bool used = std::any_of(stings.begin(), stings.end(),
                                      [&](const Sting& s) { return s.hotkey == key; });
        if (!used) return key;
    }
    return std::nullopt;
}

// One pass per page: a show of many stings opens in time proportional to its size.
void assignMissingHotkeys(Show& show) {
    for (Page& page : show.pages) {
        std::array<bool, 10> used{};
        for (const Sting& sting : page.stings) {
            const std::string& key = sting.hotkey.value_or("");
            if (key.size() == 1 && key[0] >= '1' && key[0] <= '9')
                used[static_cast<std::size_t>(key[0] - '0')] = true;
        }
        std::size_t next = 1;
        for (Sting& sting : page.stings) {
            if (sting.hotkey && !sting.hotkey->empty()) continue;
            while (next <= 9 && used[next])
                ++next;
            if (next > 9) {
                sting.hotkey.reset();
                continue;
            }
            used[next] = true;
            sting.hotkey = std::string(1, static_cast<char>('0' + next));
        }
    }
}

}  // namespace brellow
