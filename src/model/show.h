#pragma once
// The show: pages of stings, as plain values with field-by-field equality.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/uuid.h"

namespace brellow {

struct Sting {
    enum class ColorLabel { none, red, amber, green, blue, purple };

    Uuid id;
    std::string name;
    std::string mediaFilename;
    std::optional<std::string> waveformFilename;
    double durationSec = 0;
    double volumeDB = 0;
    std::optional<double> trimInSec;
    std::optional<double> trimOutSec;
    double fadeInSec = 0;
    double fadeOutSec = 0;
    bool loop = false;
    ColorLabel colorLabel = ColorLabel::none;
    std::optional<std::string> hotkey;

    friend bool operator==(const Sting&, const Sting&) = default;
};

const char* colorLabelRawValue(Sting::ColorLabel label);
std::optional<Sting::ColorLabel> colorLabelFromRawValue(std::string_view raw);

struct Page {
    Uuid id;
    std::string name;
    std::vector<Sting> stings;

    friend bool operator==(const Page&, const Page&) = default;
};

struct Show {
    std::int64_t schemaVersion = 1;
    std::string name;
    std::vector<Page> pages;
    Uuid activePageID;
    double masterVolumeDB = 0;
    std::optional<std::string> outputDeviceUID;
    bool soloMode = true;

    friend bool operator==(const Show&, const Show&) = default;
};

struct StingLocation {
    std::size_t pageIndex;
    std::size_t stingIndex;
    friend bool operator==(const StingLocation&, const StingLocation&) = default;
};

/// The contents of an untitled document: one empty page "Main", solo mode on.
Show makeNewShow();

/// Every sting of every page, pages in order and each page's stings in order.
std::vector<Sting> allStings(const Show& show);
std::size_t stingCount(const Show& show);

/// Page and index of the first sting with `stingID`, or nothing.
std::optional<StingLocation> locateSting(const Show& show, const Uuid& stingID);
std::optional<std::size_t> locatePage(const Show& show, const Uuid& pageID);

/// First of "1" to "9" not used as a hotkey on page `pageIndex`; nothing when all are used or
/// the index is out of range. Other pages do not count.
std::optional<std::string> nextFreeHotkey(const Show& show, std::size_t pageIndex);

/// Gives every sting without a hotkey (absent or empty) the next free hotkey of its page, in
/// page and sting order, so later stings see the keys given to earlier ones.
void assignMissingHotkeys(Show& show);

}  // namespace brellow
