// Compares the streaming resamplers Debian offers, for converting a sting's rate to the
// device rate: cost per output frame (stereo, 44.1 to 48 kHz) and quality figures.
// Prints one table; the figures chose the resampler used by the mixer.
#include <samplerate.h>
#include <soxr.h>
#include <speex/speex_resampler.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr double kInRate = 44100;
constexpr double kOutRate = 48000;
constexpr int kChannels = 2;
constexpr std::size_t kBlock = 256;  // output frames per call, as in a render cycle

// Converts interleaved stereo input to as many output frames as it yields.
using Convert = std::function<std::size_t(const float* in, std::size_t inFrames, std::size_t* used,
                                          float* out, std::size_t outFrames)>;

struct Candidate {
    std::string name;
    std::function<Convert()> make;
};

std::vector<float> sine(double freq, std::size_t frames, double rate) {
    std::vector<float> data(frames * kChannels);
    for (std::size_t i = 0; i < frames; ++i) {
        const auto v =
            static_cast<float>(0.5 * std::sin(2 * M_PI * freq * static_cast<double>(i) / rate));
        data[i * 2] = v;
        data[i * 2 + 1] = v;
    }
    return data;
}

// Streams `input` through a fresh converter in render-sized blocks; returns left channel.
std::vector<float> run(const Candidate& c, const std::vector<float>& input, double* nsPerFrame) {
    Convert convert = c.make();
    std::vector<float> out;
    std::vector<float> block(kBlock * kChannels);
    std::size_t pos = 0;
    const std::size_t inFrames = input.size() / kChannels;
    const auto start = std::chrono::steady_clock::now();
    std::size_t produced = 0;
    while (pos + 512 < inFrames) {
        std::size_t used = 0;
        const std::size_t got =
            convert(input.data() + pos * kChannels, std::min<std::size_t>(512, inFrames - pos),
                    &used, block.data(), kBlock);
        pos += used;
        produced += got;
        for (std::size_t i = 0; i < got; ++i)
            out.push_back(block[i * 2]);
    }
    const double ns =
        std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    if (nsPerFrame) *nsPerFrame = ns / static_cast<double>(produced);
    return out;
}

// Amplitude of `freq` in `x` (least squares fit of a sine and a cosine).
double hann(std::size_t i, std::size_t from, std::size_t to) {
    return 0.5 - 0.5 * std::cos(2 * M_PI * static_cast<double>(i - from) /
                                static_cast<double>(to - from));
}

double amplitudeAt(const std::vector<float>& x, double freq, std::size_t from, std::size_t to) {
    double s = 0, c = 0, weight = 0;
    for (std::size_t i = from; i < to; ++i) {
        const double phase = 2 * M_PI * freq * static_cast<double>(i) / kOutRate;
        const double w = hann(i, from, to);
        s += w * x[i] * std::sin(phase);
        c += w * x[i] * std::cos(phase);
        weight += w;
    }
    return 2 * std::sqrt(s * s + c * c) / weight;
}

// Noise and distortion relative to the fitted sine, in dB.
double residualDb(const std::vector<float>& x, double freq, std::size_t from, std::size_t to) {
    double s = 0, c = 0;
    for (std::size_t i = from; i < to; ++i) {
        const double phase = 2 * M_PI * freq * static_cast<double>(i) / kOutRate;
        s += x[i] * std::sin(phase);
        c += x[i] * std::cos(phase);
    }
    const double n = static_cast<double>(to - from);
    const double a = 2 * s / n, b = 2 * c / n;
    double signal = 0, residual = 0;
    for (std::size_t i = from; i < to; ++i) {
        const double phase = 2 * M_PI * freq * static_cast<double>(i) / kOutRate;
        const double fit = a * std::sin(phase) + b * std::cos(phase);
        const double w = hann(i, from, to);
        signal += w * fit * fit;
        residual += w * (x[i] - fit) * (x[i] - fit);
    }
    return 10 * std::log10(residual / signal);
}

Convert makeSoxr(unsigned long recipe) {
    soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    soxr_quality_spec_t q = soxr_quality_spec(recipe, 0);
    std::shared_ptr<soxr> s(soxr_create(kInRate, kOutRate, kChannels, nullptr, &io, &q, nullptr),
                            soxr_delete);
    return [s](const float* in, std::size_t n, std::size_t* used, float* out, std::size_t m) {
        std::size_t done = 0;
        soxr_process(s.get(), in, n, used, out, m, &done);
        return done;
    };
}

Convert makeSpeex(int quality) {
    int err = 0;
    std::shared_ptr<SpeexResamplerState> s(
        speex_resampler_init(kChannels, 44100, 48000, quality, &err), speex_resampler_destroy);
    speex_resampler_skip_zeros(s.get());
    return [s](const float* in, std::size_t n, std::size_t* used, float* out, std::size_t m) {
        spx_uint32_t inLen = static_cast<spx_uint32_t>(n), outLen = static_cast<spx_uint32_t>(m);
        speex_resampler_process_interleaved_float(s.get(), in, &inLen, out, &outLen);
        *used = inLen;
        return static_cast<std::size_t>(outLen);
    };
}

Convert makeSrc(int type) {
    int err = 0;
    std::shared_ptr<SRC_STATE> s(src_new(type, kChannels, &err), src_delete);
    return [s](const float* in, std::size_t n, std::size_t* used, float* out, std::size_t m) {
        SRC_DATA d{};
        d.data_in = in;
        d.input_frames = static_cast<long>(n);
        d.data_out = out;
        d.output_frames = static_cast<long>(m);
        d.src_ratio = kOutRate / kInRate;
        src_process(s.get(), &d);
        *used = static_cast<std::size_t>(d.input_frames_used);
        return static_cast<std::size_t>(d.output_frames_gen);
    };
}

}  // namespace

int main() {
    const std::vector<Candidate> candidates = {
        {"soxr HQ", [] { return makeSoxr(SOXR_HQ); }},
        {"soxr VHQ", [] { return makeSoxr(SOXR_VHQ); }},
        {"speexdsp q5", [] { return makeSpeex(5); }},
        {"speexdsp q8", [] { return makeSpeex(8); }},
        {"speexdsp q10", [] { return makeSpeex(10); }},
        {"libsamplerate sinc medium", [] { return makeSrc(SRC_SINC_MEDIUM_QUALITY); }},
        {"libsamplerate sinc best", [] { return makeSrc(SRC_SINC_BEST_QUALITY); }},
    };
    const std::size_t seconds = 4;
    const auto tone1k = sine(1000, static_cast<std::size_t>(kInRate) * seconds, kInRate);
    const auto tone20k = sine(20000, static_cast<std::size_t>(kInRate) * seconds, kInRate);
    std::printf("%-28s %12s %14s %14s %16s\n", "resampler", "ns/out frame", "1k noise+dist",
                "20k passband", "20k image (dB)");
    for (const auto& c : candidates) {
        double ns = 0;
        // Cost: best of three passes over the 1 kHz tone.
        double best = 1e9;
        std::vector<float> out1k;
        for (int pass = 0; pass < 3; ++pass) {
            out1k = run(c, tone1k, &ns);
            best = std::min(best, ns);
        }
        const auto out20k = run(c, tone20k, nullptr);
        const std::size_t from = 4800, to = std::min(out1k.size(), out20k.size()) - 4800;
        const double noise = residualDb(out1k, 1000, from, to);
        const double pass20k = 20 * std::log10(amplitudeAt(out20k, 20000, from, to) / 0.5);
        // 20 kHz at 44.1 kHz images at 24.1 kHz, which folds to 23.9 kHz at 48 kHz.
        const double image = 20 * std::log10(amplitudeAt(out20k, 23900, from, to) / 0.5 + 1e-12);
        std::printf("%-28s %12.1f %11.1f dB %11.2f dB %16.1f\n", c.name.c_str(), best, noise,
                    pass20k, image);
    }
}
