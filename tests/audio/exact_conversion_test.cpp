// Converted stings sample by sample against soxr's one-shot conversion of the same range:
// every frame of the range comes out, on time, and completes only once it was heard.
#include <gtest/gtest.h>
#include <soxr.h>

#include <cmath>
#include <vector>

#include "audio/graph/rt_guard.h"
#include "audio/offline_rig.h"

namespace brellow::audio {

namespace {

// Two tones inside the band of the lowest rate tested, starting and ending at full level so
// a lost or late frame at either end shows.
float tones(std::uint32_t, std::uint32_t frame, double rate) {
    const double t = frame / rate;
    return static_cast<float>(0.4 * std::sin(2 * M_PI * 441.0 * t + 0.3) +
                              0.3 * std::sin(2 * M_PI * 2900.0 * t + 1.1));
}

// soxr's one-shot conversion of `samples` heard after silence, as a sting starts: a second
// of silence goes first (a whole number of frames at both rates) and is cut off again.
std::vector<float> oneShot(const std::vector<float>& samples, double inRate, double outRate) {
    std::vector<float> input(static_cast<std::size_t>(inRate), 0.0f);
    input.insert(input.end(), samples.begin(), samples.end());
    std::vector<float> output(
        static_cast<std::size_t>(std::ceil(static_cast<double>(input.size()) * outRate / inRate)) +
        16);
    std::size_t done = 0;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_error_t error =
        soxr_oneshot(inRate, outRate, 1, input.data(), input.size(), nullptr, output.data(),
                     output.size(), &done, &io, &quality, nullptr);
    if (error != nullptr) ADD_FAILURE() << error;
    output.resize(done);
    output.erase(output.begin(), output.begin() + static_cast<long>(outRate));
    return output;
}

struct Heard {
    std::vector<float> heard;  // output from the start frame on
    long completedAt = -1;     // output frames after the start when the handler ran
};

// Plays frames [start, start + count) of a `sourceRate` sting on an `outputRate` output, in
// periods of 64 frames so the completion is placed to within one period.
Heard play(double sourceRate, double outputRate, std::uint32_t length, std::uint32_t start,
           std::uint32_t count, std::uint32_t options, std::uint64_t renderFrames) {
    test::OfflineRig rig(outputRate, 64);
    EXPECT_TRUE(rig.engine->start());
    test::Voice voice(*rig.engine, {sourceRate, 1, SampleType::float32});
    static double rate;  // for the plain function pointer below
    rate = sourceRate;
    auto buffer = test::makeBuffer(
        sourceRate, 1, length, [](std::uint32_t c, std::uint32_t f) { return tones(c, f, rate); });
    Heard run;
    const std::uint64_t startFrame = 1000;
    voice.player.scheduleBuffer(
        buffer, start, count, options, CompletionCallbackType::dataPlayedBack,
        [&](CompletionCallbackType) {
            run.completedAt =
                static_cast<long>(rig.driver->framesRendered()) - static_cast<long>(startFrame);
        });
    voice.player.play(rig.driver->hostTimeOfFrame(startFrame));
    for (std::uint64_t done = 0; done < startFrame + renderFrames; done += 64)
        rig.render(64);
    const auto& left = rig.driver->left();
    EXPECT_EQ(test::firstSound(left), static_cast<long>(startFrame));
    run.heard.assign(left.begin() + static_cast<long>(startFrame), left.end());
    return run;
}

std::vector<float> range(double rate, std::uint32_t start, std::uint32_t count) {
    std::vector<float> samples(count);
    for (std::uint32_t i = 0; i < count; ++i)
        samples[i] = tones(0, start + i, rate);
    return samples;
}

double largestDifference(const std::vector<float>& heard, const std::vector<float>& reference) {
    double largest = 0;
    for (std::size_t i = 0; i < reference.size(); ++i)
        largest = std::max(largest, std::fabs(static_cast<double>(heard.at(i) - reference[i])));
    return largest;
}

}  // namespace

class ExactConversion : public ::testing::TestWithParam<double> {};

TEST_P(ExactConversion, EveryFrameOfTheTrimmedRangeSoundsAndCompletesWhenHeard) {
    const double sourceRate = GetParam();
    for (const double outputRate : {48000.0, 44100.0}) {
        SCOPED_TRACE(testing::Message() << sourceRate << " Hz on " << outputRate << " Hz");
        // A third of a second from a tenth of a second in, of a sting of half a second.
        const auto length = static_cast<std::uint32_t>(sourceRate / 2);
        const auto start = static_cast<std::uint32_t>(sourceRate / 10);
        const auto count = static_cast<std::uint32_t>(sourceRate / 3) + 7;
        const auto reference = oneShot(range(sourceRate, start, count), sourceRate, outputRate);
        const Heard run = play(sourceRate, outputRate, length, start, count, kPlayerOptionNone,
                               reference.size() + 4096);
        // soxr's own conversion, to within the noise of its filters.
        EXPECT_LT(largestDifference(run.heard, reference), 2e-3);
        // The last frames of the range are there at full level, not cut or faded.
        double tail = 0;
        for (std::size_t i = reference.size() - 32; i < reference.size(); ++i)
            tail = std::max(tail, std::fabs(static_cast<double>(run.heard[i])));
        EXPECT_GT(tail, 0.1);
        // Completion comes in the period that played the last frame.
        EXPECT_GE(run.completedAt, static_cast<long>(reference.size()));
        EXPECT_LE(run.completedAt, static_cast<long>(reference.size()) + 64);
    }
}

TEST_P(ExactConversion, LoopsJoinSeamlesslyAfterConversion) {
    const double sourceRate = GetParam();
    const double outputRate = 48000;
    // A loop of a non-whole number of output frames, so each pass starts on a new phase.
    const auto count = static_cast<std::uint32_t>(sourceRate / 7) + 3;
    const auto passes = range(sourceRate, 0, count);
    std::vector<float> repeated;
    for (int pass = 0; pass < 4; ++pass)
        repeated.insert(repeated.end(), passes.begin(), passes.end());
    auto reference = oneShot(repeated, sourceRate, outputRate);
    // The reference ends after four passes; the loop goes on, so compare three.
    reference.resize(reference.size() * 3 / 4);
    const Heard run = play(sourceRate, outputRate, count, 0, count,
                           kPlayerOptionLoops | kPlayerOptionInterrupts, reference.size() + 64);
    EXPECT_LT(largestDifference(run.heard, reference), 2e-3);
}

INSTANTIATE_TEST_SUITE_P(SourceRates, ExactConversion,
                         ::testing::Values(8000.0, 22050.0, 44100.0, 48000.0, 88200.0, 96000.0,
                                           192000.0),
                         [](const auto& rateParam) {
                             return std::to_string(static_cast<int>(rateParam.param)) + "Hz";
                         });

#if BRELLOW_RT_TRAP
TEST(ExactConversionRenderThread, NeverAllocatesAtAnyRateOrChannelCount) {
    test::OfflineRig rig(48000, 1024);
    ASSERT_TRUE(rig.engine->start());
    std::vector<std::unique_ptr<test::Voice>> voices;
    std::vector<std::shared_ptr<PcmBuffer>> buffers;
    for (const double rate : {8000.0, 22050.0, 44100.0, 88200.0, 96000.0, 192000.0}) {
        for (const std::uint32_t channels : {1u, 2u, 6u, 8u, 24u, 32u}) {
            voices.push_back(std::make_unique<test::Voice>(
                *rig.engine, AudioFormat{rate, channels, SampleType::float32}));
            buffers.push_back(test::makeBuffer(rate, channels, static_cast<std::uint32_t>(rate),
                                               [](std::uint32_t c, std::uint32_t f) {
                                                   return static_cast<float>((f + c) % 64) / 64.0f;
                                               }));
        }
    }
    RenderThreadViolations::allocations = 0;
    RenderThreadViolations::locks = 0;
    for (int round = 0; round < 3; ++round) {
        for (std::size_t v = 0; v < voices.size(); ++v) {
            voices[v]->player.scheduleBuffer(buffers[v], kPlayerOptionInterrupts,
                                             CompletionCallbackType::dataPlayedBack, {});
            voices[v]->player.play();
        }
        rig.render(48000);
        for (auto& voice : voices)
            voice->player.stop();
        rig.render(4096);
    }
    EXPECT_EQ(RenderThreadViolations::allocations.load(), 0u);
    EXPECT_EQ(RenderThreadViolations::locks.load(), 0u);
}
#endif

}  // namespace brellow::audio
