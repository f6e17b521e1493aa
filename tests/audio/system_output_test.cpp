// The output's choice among the chosen device, the default output and silence, with fake
// devices that come and go: what it says it plays on, when it asks the engine to reopen, and
// how it notices an output that stopped asking for audio.
#include <gtest/gtest.h>

#include <map>

#include "audio/drivers/system_output.h"

namespace brellow::audio {

using namespace std::chrono_literals;

namespace {

struct FakeDeviceState {
    bool available = true;
    int opens = 0;
    OutputRenderer* renderer = nullptr;
    bool started = false;
    std::uint64_t underruns = 0;
};

class FakeDevice final : public AudioDriver {
  public:
    FakeDevice(std::string id, FakeDeviceState& state) : id_(std::move(id)), state_(state) {}
    std::string name() const override { return id_; }
    Result<AudioFormat, AudioError> open(OutputRenderer& renderer) override {
        if (!state_.available) {
            return fail(AudioError{AudioError::Code::deviceUnavailable, id_ + " is unplugged"});
        }
        ++state_.opens;
        state_.renderer = &renderer;
        return AudioFormat{44100, 2, SampleType::float32};
    }
    Result<void, AudioError> start() override {
        state_.started = true;
        return {};
    }
    void stop() override { state_.started = false; }
    std::uint32_t periodFrames() const override { return 64; }
    OutputInUse outputInUse() const override { return {id_, "Fake " + id_, false}; }
    std::uint64_t underruns() const override { return state_.underruns; }

  private:
    std::string id_;
    FakeDeviceState& state_;
};

struct FakeEngine final : OutputRenderer {
    void renderOutput(float*, float*, std::uint32_t, std::uint64_t) override { ++renders; }
    void outputDisrupted(const std::string& why) override {
        ++disruptions;
        reason = why;
    }
    int renders = 0;
    int disruptions = 0;
    std::string reason;
};

// Devices by identifier; "fake:default" is the default output's only member.
struct Rig {
    explicit Rig(std::string chosen = "") {
        SystemOutputDriver::Options options;
        options.deviceID = std::move(chosen);
        options.defaultChain = {"fake:default"};
        options.factory = [this](const std::string& id) -> std::unique_ptr<AudioDriver> {
            return std::make_unique<FakeDevice>(id, devices[id]);
        };
        options.silent = std::make_unique<FakeDevice>("silent", silent);
        output = std::make_unique<SystemOutputDriver>(std::move(options));
    }
    void render(const std::string& id) {
        float left[4], right[4];
        devices[id].renderer->renderOutput(left, right, 4, 0);
    }

    std::map<std::string, FakeDeviceState> devices;
    FakeDeviceState silent;
    FakeEngine engine;
    std::unique_ptr<SystemOutputDriver> output;
};

}  // namespace

TEST(SystemOutput, WithNoDeviceChosenTheDefaultOutputIsReportedAsBefore) {
    Rig rig;
    ASSERT_TRUE(rig.output->open(rig.engine));
    const OutputInUse inUse = rig.output->outputInUse();
    EXPECT_EQ(inUse.deviceUID, "");
    EXPECT_EQ(inUse.deviceName, "Default output");
    EXPECT_TRUE(inUse.fellBack);
    EXPECT_FALSE(rig.output->wantsRetry());
    EXPECT_FALSE(rig.output->retryWanted());
    EXPECT_EQ(rig.engine.disruptions, 0);
}

TEST(SystemOutput, AMissingChosenDeviceFallsBackNamesItAndIsTakenBackWhenItReturns) {
    Rig rig("fake:usb");
    rig.devices["fake:usb"].available = false;
    auto format = rig.output->open(rig.engine);
    ASSERT_TRUE(format);
    EXPECT_EQ(format->sampleRate, 44100);
    OutputInUse inUse = rig.output->outputInUse();
    EXPECT_EQ(inUse.deviceUID, "");
    EXPECT_NE(inUse.deviceName.find("fake:usb"), std::string::npos) << inUse.deviceName;
    EXPECT_TRUE(inUse.fellBack);
    EXPECT_FALSE(rig.output->usingFallback());  // the default output sounds
    EXPECT_EQ(rig.output->chosenDevice(), "fake:usb");

    // Still missing: a retry changes nothing.
    EXPECT_TRUE(rig.output->wantsRetry());
    EXPECT_FALSE(rig.output->retryWanted());
    EXPECT_EQ(rig.engine.disruptions, 0);

    rig.devices["fake:usb"].available = true;
    EXPECT_TRUE(rig.output->retryWanted());
    EXPECT_EQ(rig.engine.disruptions, 1);
    ASSERT_TRUE(rig.output->open(rig.engine));
    inUse = rig.output->outputInUse();
    EXPECT_EQ(inUse.deviceUID, "fake:usb");
    EXPECT_EQ(inUse.deviceName, "Fake fake:usb");
    EXPECT_FALSE(inUse.fellBack);
    EXPECT_FALSE(rig.output->wantsRetry());
}

TEST(SystemOutput, WithNothingAvailableItPlaysSilentlySaysWhyAndReturnsToTheDefault) {
    Rig rig;
    rig.devices["fake:default"].available = false;
    ASSERT_TRUE(rig.output->open(rig.engine));
    EXPECT_TRUE(rig.output->usingFallback());
    EXPECT_EQ(rig.output->name(), "silent");
    const OutputInUse inUse = rig.output->outputInUse();
    EXPECT_NE(inUse.deviceName.find("unplugged"), std::string::npos) << inUse.deviceName;
    EXPECT_TRUE(inUse.fellBack);
    ASSERT_TRUE(rig.output->start());
    EXPECT_TRUE(rig.silent.started);

    EXPECT_FALSE(rig.output->retryWanted());
    EXPECT_TRUE(rig.silent.started);  // a failed retry leaves the silent output running
    rig.devices["fake:default"].available = true;
    EXPECT_TRUE(rig.output->retryWanted());
    EXPECT_FALSE(rig.silent.started);
    EXPECT_EQ(rig.engine.disruptions, 1);
    ASSERT_TRUE(rig.output->open(rig.engine));
    EXPECT_FALSE(rig.output->usingFallback());
    EXPECT_EQ(rig.output->outputInUse().deviceName, "Default output");
}

TEST(SystemOutput, ChoosingAnotherDeviceWhileOpenAsksForOneReopen) {
    Rig rig;
    rig.output->choose("fake:hdmi");  // before the first open: just remembered
    EXPECT_EQ(rig.engine.disruptions, 0);
    ASSERT_TRUE(rig.output->open(rig.engine));
    ASSERT_TRUE(rig.output->start());
    EXPECT_EQ(rig.output->outputInUse().deviceUID, "fake:hdmi");

    rig.output->choose("fake:hdmi");  // the same device: nothing happens
    EXPECT_EQ(rig.engine.disruptions, 0);
    rig.output->choose("");
    EXPECT_EQ(rig.engine.disruptions, 1);
    EXPECT_FALSE(rig.devices["fake:hdmi"].started);
    ASSERT_TRUE(rig.output->open(rig.engine));
    EXPECT_EQ(rig.output->outputInUse().deviceName, "Default output");
}

TEST(SystemOutput, AnOutputThatStopsAskingForAudioIsReportedLostOnce) {
    Rig rig;
    ASSERT_TRUE(rig.output->open(rig.engine));
    ASSERT_TRUE(rig.output->start());
    const auto t0 = std::chrono::steady_clock::now();
    // Not yet asked for anything: a waking sink gets the longer start limit.
    EXPECT_FALSE(rig.output->checkStalled(t0 + 1s));
    rig.render("fake:default");
    EXPECT_EQ(rig.engine.renders, 1);
    EXPECT_FALSE(rig.output->checkStalled(t0 + 1s));  // progress noted
    EXPECT_FALSE(rig.output->checkStalled(t0 + 1s + 500ms));
    EXPECT_TRUE(rig.output->checkStalled(t0 + 2s));
    EXPECT_EQ(rig.engine.disruptions, 1);
    EXPECT_FALSE(rig.devices["fake:default"].started);
    // The driver's own report of the same loss arrives late: still one disruption.
    rig.devices["fake:default"].renderer->outputDisrupted("server gone");
    EXPECT_FALSE(rig.output->checkStalled(t0 + 10s));
    EXPECT_EQ(rig.engine.disruptions, 1);
}

TEST(SystemOutput, AnOutputThatNeverStartsIsReportedAfterTheStartLimit) {
    Rig rig;
    ASSERT_TRUE(rig.output->open(rig.engine));
    ASSERT_TRUE(rig.output->start());
    const auto t0 = std::chrono::steady_clock::now();
    EXPECT_FALSE(rig.output->checkStalled(t0 + 3s));
    EXPECT_TRUE(rig.output->checkStalled(t0 + 5s));
    // A stopped output is never reported.
    ASSERT_TRUE(rig.output->open(rig.engine));
    EXPECT_FALSE(rig.output->checkStalled(t0 + 60s));
}

TEST(SystemOutput, UnderrunsAreCountedAcrossReopens) {
    Rig rig;
    ASSERT_TRUE(rig.output->open(rig.engine));
    rig.devices["fake:default"].underruns = 3;
    EXPECT_EQ(rig.output->xrunCount(), 3u);
    ASSERT_TRUE(rig.output->open(rig.engine));  // a fresh device, the old count kept
    EXPECT_EQ(rig.output->xrunCount(), 6u);
}

}  // namespace brellow::audio
