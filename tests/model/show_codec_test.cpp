#include "model/show_codec.h"

#include <cmath>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace brellow {

using nlohmann::json;

namespace {

constexpr const char* kStingID = "6F1A1F0E-6D0B-4E4E-9C39-8C8A5F0B2A10";
constexpr const char* kPageID = "11111111-2222-3333-4444-555555555555";

std::string stingJson(const std::string& extra = "") {
    return std::string(R"({"id":")") + kStingID +
           R"(","name":"Door","mediaFilename":"6F1A1F0E-6D0B-4E4E-9C39-8C8A5F0B2A10.caf","durationSec":2)" +
           extra + "}";
}

Show fullShow() {
    Show show = makeNewShow();
    show.name = "Matinee / Evening";
    show.masterVolumeDB = -6;
    show.outputDeviceUID = "alsa_output.usb";
    show.soloMode = false;
    Sting sting = test::makeSting("Thunder", "7");
    sting.volumeDB = -3.25;
    sting.trimInSec = 0.1;
    sting.trimOutSec = 1.75;
    sting.fadeInSec = 0.5;
    sting.fadeOutSec = 1e-7;
    sting.loop = true;
    sting.colorLabel = Sting::ColorLabel::purple;
    show.pages[0].stings.push_back(sting);
    show.pages[0].stings.push_back(test::makeSting("Bare"));
    show.pages[0].stings.back().waveformFilename.reset();
    Page second;
    second.id = Uuid::generate();
    second.name = "Act 2";
    show.pages.push_back(second);
    show.activePageID = second.id;
    return show;
}

}  // namespace

TEST(ShowCodec, RoundTripsInBothStyles) {
    const Show show = fullShow();
    for (const auto style : {JsonStyle::file, JsonStyle::compact}) {
        const auto bytes = encodeShow(show, style);
        ASSERT_TRUE(bytes);
        const auto decoded = decodeShow(*bytes);
        ASSERT_TRUE(decoded) << decoded.error().message;
        EXPECT_EQ(*decoded, show);
    }
}

TEST(ShowCodec, FileStyleIsPrettySortedWithEscapedSlashesAndIntegralNumbers) {
    const std::string text = encodeShow(fullShow(), JsonStyle::file).value();
    EXPECT_NE(text.find("\"name\": \"Matinee \\/ Evening\""), std::string::npos);
    EXPECT_NE(text.find("\"masterVolumeDB\": -6,"), std::string::npos);
    EXPECT_NE(text.find("\"durationSec\": 2.5"), std::string::npos);
    EXPECT_NE(text.find("\"fadeOutSec\": 1e-07"), std::string::npos);
    EXPECT_EQ(text.find("null"), std::string::npos);
    const std::vector<std::string> showKeys = {"activePageID",    "masterVolumeDB", "name",
                                               "outputDeviceUID", "pages",          "schemaVersion",
                                               "soloMode"};
    std::size_t last = 0;
    for (const auto& key : showKeys) {
        const auto at = text.find("\n  \"" + key + "\"");
        ASSERT_NE(at, std::string::npos) << key;
        EXPECT_GT(at, last) << key;
        last = at;
    }
    const std::string compact = encodeShow(fullShow(), JsonStyle::compact).value();
    EXPECT_EQ(compact.find('\n'), std::string::npos);
}

TEST(ShowCodec, WritesExactlyTheKnownKeysLeavingOutAbsentOptionals) {
    Show show = fullShow();
    show.outputDeviceUID.reset();
    const json root = showToJson(show).value();
    EXPECT_EQ(root.size(), 6u);
    EXPECT_FALSE(root.contains("stings"));
    const json& bare = root["pages"][0]["stings"][1];
    EXPECT_EQ(bare.size(), 9u);  // no waveformFilename, trims or hotkey
    EXPECT_EQ(root["pages"][0]["stings"][0].size(), 13u);
    EXPECT_EQ(root["pages"][0]["stings"][0]["id"], show.pages[0].stings[0].id.toString());
}

TEST(ShowCodec, SinglePageLayoutBecomesOnePageNamedMain) {
    const auto show = decodeShow(std::string(R"({"name":"Old","activePageID":")") + kPageID +
                                 R"(","stings":[)" + stingJson() + "]}");
    ASSERT_TRUE(show) << show.error().message;
    ASSERT_EQ(show->pages.size(), 1u);
    EXPECT_EQ(show->pages[0].name, "Main");
    EXPECT_EQ(show->pages[0].stings.size(), 1u);
    EXPECT_EQ(show->activePageID, show->pages[0].id);
    EXPECT_NE(show->activePageID.toString(), kPageID);
    EXPECT_TRUE(show->soloMode);
    EXPECT_EQ(show->schemaVersion, 1);

    const json written = showToJson(*show).value();
    EXPECT_TRUE(written.contains("pages") && written.contains("activePageID"));
    EXPECT_FALSE(written.contains("stings"));

    const auto empty = decodeShow(R"({"name":"Empty","pages":[],"stings":null})");
    ASSERT_TRUE(empty);
    ASSERT_EQ(empty->pages.size(), 1u);
    EXPECT_TRUE(empty->pages[0].stings.empty());
}

TEST(ShowCodec, ActivePageFallsBackToTheFirstPage) {
    const std::string page = std::string(R"({"id":")") + kPageID + R"(","name":"P","stings":[]})";
    for (const std::string& active :
         {std::string(), std::string(R"("activePageID":null,)"),
          std::string(R"("activePageID":"99999999-2222-3333-4444-555555555555",)")}) {
        const auto show = decodeShow("{" + active + R"("name":"S","pages":[)" + page + "]}");
        ASSERT_TRUE(show) << active;
        EXPECT_EQ(show->activePageID.toString(), kPageID);
    }
    const auto lower =
        decodeShow(std::string(R"({"activePageID":")") + "11111111-2222-3333-4444-555555555555" +
                   R"(","name":"S","pages":[)" + page + "]}");
    EXPECT_EQ(lower->activePageID.toString(), kPageID);
}

TEST(ShowCodec, MissingOrNullKeysTakeTheirDefaults) {
    const auto show =
        decodeShow(R"({"schemaVersion":null,"name":"S","masterVolumeDB":null,
        "soloMode":null,"stings":[)" +
                   stingJson(R"(,"trimInSec":null,"loop":null,"colorLabel":null)") + "]}");
    ASSERT_TRUE(show) << show.error().message;
    EXPECT_EQ(show->schemaVersion, 1);
    EXPECT_EQ(show->masterVolumeDB, 0);
    EXPECT_TRUE(show->soloMode);
    const Sting& sting = show->pages[0].stings[0];
    EXPECT_FALSE(sting.trimInSec);
    EXPECT_FALSE(sting.waveformFilename);
    EXPECT_FALSE(sting.loop);
    EXPECT_EQ(sting.volumeDB, 0);
    EXPECT_EQ(sting.fadeInSec, 0);
    EXPECT_EQ(sting.colorLabel, Sting::ColorLabel::none);
    EXPECT_FALSE(sting.hotkey);
    EXPECT_FALSE(showToJson(*show)->at("pages")[0]["stings"][0].contains("trimInSec"));
}

TEST(ShowCodec, KeepsUnknownSchemaVersionsAndIgnoresUnknownKeys) {
    const auto show = decodeShow(R"({"schemaVersion":7,"name":"S","future":{"x":[1,2]}})");
    ASSERT_TRUE(show);
    EXPECT_EQ(show->schemaVersion, 7);
    EXPECT_EQ(showToJson(*show)->at("schemaVersion"), 7);
    EXPECT_EQ(decodeShow(R"({"schemaVersion":7.0,"name":"S"})")->schemaVersion, 7);
}

TEST(ShowCodec, RefusesWhatIsNotAShow) {
    const std::vector<std::string> bad = {
        "",
        "[]",
        "{\"name\":\"S\"",
        R"({"pages":[]})",                                              // name missing
        R"({"name":3})",                                                // wrong type
        R"({"name":"S","soloMode":"yes"})",                             // wrong type
        R"({"name":"S","schemaVersion":1.5})",                          // not an integer
        R"({"name":"S","pages":{}})",                                   // not a list
        R"({"name":"S","pages":[{"id":"x","name":"P","stings":[]}]})",  // malformed UUID
        R"({"name":"S","pages":[{"id":"11111111-2222-3333-4444-555555555555","name":"P"}]})",
        R"({"name":"S","stings":[)" + stingJson(R"(,"colorLabel":"pink")") + "]}",
        R"({"name":"S","stings":[)" + stingJson(R"(,"colorLabel":"Red")") + "]}",
        R"({"name":"S","stings":[{"id":"6F1A1F0E-6D0B-4E4E-9C39-8C8A5F0B2A10","name":"x","mediaFilename":"a.caf"}]})",
        R"({"name":"S","stings":[)" + stingJson(R"(,"durationSec":"2")") + "]}",
        "{\"name\":\"\xFF\"}",  // not UTF-8
    };
    for (const auto& text : bad) {
        EXPECT_FALSE(decodeShow(text)) << text;
    }
    const auto error =
        decodeShow(R"({"name":"S","stings":[)" + stingJson(R"(,"colorLabel":"pink")") + "]}");
    EXPECT_NE(error.error().message.find("stings[0].colorLabel"), std::string::npos);
}

TEST(ShowCodec, RefusesDeepNestingBeforeParsing) {
    const std::string deep =
        R"({"name":"S","x":)" + std::string(100000, '[') + std::string(100000, ']') + "}";
    const auto result = decodeShow(deep);
    ASSERT_FALSE(result);
    EXPECT_NE(result.error().message.find("deeply"), std::string::npos);
    // Brackets inside strings do not count.
    EXPECT_TRUE(decodeShow(R"({"name":")" + std::string(500, '[') + R"("})"));
}

TEST(ShowCodec, NonFiniteNumbersCannotBeEncoded) {
    Show show = fullShow();
    show.masterVolumeDB = std::nan("");
    EXPECT_FALSE(encodeShow(show, JsonStyle::file));
    show = fullShow();
    show.pages[0].stings[0].trimOutSec = INFINITY;
    EXPECT_FALSE(encodeShow(show, JsonStyle::compact));
}

TEST(ShowCodec, NumbersAreShortestAndExact) {
    EXPECT_EQ(jsonNumber(0).dump(), "0");
    EXPECT_EQ(jsonNumber(-6).dump(), "-6");
    EXPECT_EQ(jsonNumber(0.1).dump(), "0.1");
    for (const double value : {0.1, 1.0 / 3.0, -120.5, 1e300, 5e-324, 9007199254740993.0}) {
        EXPECT_EQ(json::parse(jsonNumber(value).dump()).get<double>(), value);
    }
}

}  // namespace brellow
