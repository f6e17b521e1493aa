// The edits the page makes to an open show, with their file deletions and change marks.
#include <algorithm>

#include "base/text.h"
#include "document/show_document.h"

namespace brellow {

namespace {

// Named items first, in the list's order and once each (unknown ones skipped), then every
// item the list did not name, in its previous order.
template <class Item>
std::vector<Item> mergeOrder(std::vector<Item> items, const std::vector<Uuid>& order) {
    std::vector<Item> result;
    result.reserve(items.size());
    std::vector<bool> taken(items.size(), false);
    for (const Uuid& id : order) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (!taken[i] && items[i].id == id) {
                taken[i] = true;
                result.push_back(std::move(items[i]));
                break;
            }
        }
    }
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (!taken[i]) result.push_back(std::move(items[i]));
    }
    return result;
}

}  // namespace

// Called after the sting left the show. A file another sting still names stays: two stings
// of a hand-edited show may share one.
void ShowDocument::deleteWorkingFiles(const Sting& sting) {
    std::error_code ignored;
    auto remove = [&](const std::filesystem::path& folder, const std::string& name,
                      const std::set<std::string>& stillNamed) {
        if (stillNamed.contains(name)) return;
        std::filesystem::remove(folder / name, ignored);
        if (pendingCopies_.contains(name)) discardOnArrival_.insert(name);
    };
    remove(working_.media(), sting.mediaFilename, namedMediaFiles(show_));
    if (sting.waveformFilename) {
        remove(working_.waveforms(), *sting.waveformFilename, namedWaveformFiles(show_));
    }
}

bool ShowDocument::setTrim(const Uuid& stingID, std::optional<double> inSec,
                           std::optional<double> outSec) {
    const auto at = locateSting(show_, stingID);
    if (!at) return false;
    Sting& sting = show_.pages[at->pageIndex].stings[at->stingIndex];
    sting.trimInSec = inSec;
    sting.trimOutSec = outSec;
    markChanged();
    return true;
}

bool ShowDocument::setLoop(const Uuid& stingID, bool enabled) {
    const auto at = locateSting(show_, stingID);
    if (!at) return false;
    show_.pages[at->pageIndex].stings[at->stingIndex].loop = enabled;
    markChanged();
    return true;
}

bool ShowDocument::setFade(const Uuid& stingID, std::optional<double> fadeInSec,
                           std::optional<double> fadeOutSec) {
    const auto at = locateSting(show_, stingID);
    if (!at) return false;
    Sting& sting = show_.pages[at->pageIndex].stings[at->stingIndex];
    // NaN never reaches here from JSON; clamp keeps any finite value in range.
    if (fadeInSec) sting.fadeInSec = std::clamp(*fadeInSec, 0.0, kMaxFadeSec);
    if (fadeOutSec) sting.fadeOutSec = std::clamp(*fadeOutSec, 0.0, kMaxFadeSec);
    markChanged();
    return true;
}

std::optional<HotkeyChange> ShowDocument::setHotkey(const Uuid& stingID,
                                                    std::optional<std::string> key) {
    if (key && key->empty()) key.reset();
    if (key) key = toLowerUnicode(*key);
    const auto at = locateSting(show_, stingID);
    if (!at) return std::nullopt;
    HotkeyChange change;
    auto& stings = show_.pages[at->pageIndex].stings;
    if (key) {
        for (std::size_t i = 0; i < stings.size(); ++i) {
            if (i != at->stingIndex && stings[i].hotkey == key) {
                stings[i].hotkey.reset();
                change.clearedStingIDs.push_back(stings[i].id);
            }
        }
    }
    stings[at->stingIndex].hotkey = key;
    markChanged();
    return change;
}

std::optional<Sting> ShowDocument::removeSting(const Uuid& stingID) {
    const auto at = locateSting(show_, stingID);
    if (!at) return std::nullopt;
    auto& stings = show_.pages[at->pageIndex].stings;
    Sting removed = std::move(stings[at->stingIndex]);
    stings.erase(stings.begin() + static_cast<std::ptrdiff_t>(at->stingIndex));
    deleteWorkingFiles(removed);
    markChanged();
    return removed;
}

bool ShowDocument::reorder(const Uuid& pageID, const std::vector<Uuid>& stingIDs) {
    const auto page = locatePage(show_, pageID);
    if (!page) return false;
    auto& stings = show_.pages[*page].stings;
    stings = mergeOrder(std::move(stings), stingIDs);
    markChanged();
    return true;
}

bool ShowDocument::rename(const Uuid& stingID, const std::string& name) {
    const std::string trimmed = trimWhitespace(name);
    const auto at = locateSting(show_, stingID);
    if (!at || trimmed.empty()) return false;
    show_.pages[at->pageIndex].stings[at->stingIndex].name = trimmed;
    markChanged();
    return true;
}

bool ShowDocument::setSoloMode(bool enabled) {
    show_.soloMode = enabled;
    markChanged();
    return true;
}

bool ShowDocument::setOutputDevice(const std::optional<std::string>& deviceUID) {
    if (show_.outputDeviceUID == deviceUID) return false;
    show_.outputDeviceUID = deviceUID;
    markChanged();
    return true;
}

Uuid ShowDocument::createPage(const std::string& name) {
    std::string trimmed = trimWhitespace(name);
    Page page;
    page.id = Uuid::generate();
    page.name = trimmed.empty() ? "Untitled" : std::move(trimmed);
    const auto active = locatePage(show_, show_.activePageID);
    const std::size_t insertAt = std::min(active ? *active + 1 : 1, show_.pages.size());
    show_.pages.insert(show_.pages.begin() + static_cast<std::ptrdiff_t>(insertAt), page);
    show_.activePageID = page.id;
    markChanged();
    return page.id;
}

bool ShowDocument::renamePage(const Uuid& pageID, const std::string& name) {
    const std::string trimmed = trimWhitespace(name);
    const auto page = locatePage(show_, pageID);
    if (!page || trimmed.empty()) return false;
    show_.pages[*page].name = trimmed;
    markChanged();
    return true;
}

std::optional<std::vector<Sting>> ShowDocument::deletePage(const Uuid& pageID) {
    const auto index = locatePage(show_, pageID);
    if (!index || show_.pages.size() < 2) return std::nullopt;
    const bool wasActive = show_.activePageID == pageID;
    std::vector<Sting> removed = std::move(show_.pages[*index].stings);
    show_.pages.erase(show_.pages.begin() + static_cast<std::ptrdiff_t>(*index));
    for (const Sting& sting : removed)
        deleteWorkingFiles(sting);
    if (wasActive) show_.activePageID = show_.pages[std::min(*index, show_.pages.size() - 1)].id;
    markChanged();
    return removed;
}

bool ShowDocument::setActivePage(const Uuid& pageID) {
    if (!locatePage(show_, pageID)) return false;
    show_.activePageID = pageID;
    markChanged();
    return true;
}

bool ShowDocument::reorderPages(const std::vector<Uuid>& pageIDs) {
    show_.pages = mergeOrder(std::move(show_.pages), pageIDs);
    markChanged();
    return true;
}

}  // namespace brellow
