// The page's setOutputDevice: stored in the show as an edit, cleared back to the default
// output, and a malformed body ignored.
#include <glib.h>
#include <gtest/gtest.h>

#include "bridge/bridge_rig.h"

namespace brellow::bridge {

using nlohmann::json;
using test::BridgeRig;

TEST(BridgeOutputDevice, TheChosenDeviceIsStoredInTheShowAndClearedForTheDefault) {
    BridgeRig rig;
    const std::size_t snapshots = rig.eventsOfType("stateSnapshot").size();
    rig.post("setOutputDevice", {{"deviceUID", "pulse:alsa_output.usb-Focusrite"}});
    EXPECT_EQ(rig.document->show().outputDeviceUID, "pulse:alsa_output.usb-Focusrite");
    EXPECT_TRUE(rig.document->isEdited());

    // Malformed bodies are no edit at all.
    rig.post("setOutputDevice", {{"deviceUID", 3}});
    rig.post("setOutputDevice", json::object());
    EXPECT_EQ(rig.document->show().outputDeviceUID, "pulse:alsa_output.usb-Focusrite");

    rig.post("setOutputDevice", {{"deviceUID", ""}});
    EXPECT_FALSE(rig.document->show().outputDeviceUID.has_value());
    rig.post("setOutputDevice", {{"deviceUID", "alsa:hw:1,0"}});
    rig.post("setOutputDevice", {{"deviceUID", nullptr}});
    EXPECT_FALSE(rig.document->show().outputDeviceUID.has_value());
    // No snapshot of the whole show for it: the engine answers with deviceChanged once the
    // output moved.
    EXPECT_EQ(rig.eventsOfType("stateSnapshot").size(), snapshots);
}

}  // namespace brellow::bridge

namespace brellow::bridge {

TEST(BridgeOutputDevice, AReadyPageGetsTheOutputListWhenTheHostCanListThem) {
    BridgeRig rig;
    rig.post("ready");
    EXPECT_TRUE(rig.eventsOfType("outputDevices").empty());  // no lister: no list

    rig.bridge->listOutputDevices = [] {
        return std::vector<audio::OutputDevice>{{"pulse:hdmi", "HDMI", true},
                                                {"pulse:usb", "USB interface", false}};
    };
    rig.post("ready");
    std::vector<json> lists;
    for (int i = 0; i < 200 && lists.empty(); ++i) {
        g_usleep(5000);
        rig.settle();
        lists = rig.eventsOfType("outputDevices");
    }
    ASSERT_EQ(lists.size(), 1u);
    EXPECT_EQ(lists[0]["devices"],
              json::parse(R"([{"id":"pulse:hdmi","name":"HDMI","isDefault":true},
                              {"id":"pulse:usb","name":"USB interface","isDefault":false}])"));
}

}  // namespace brellow::bridge
