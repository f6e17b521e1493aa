#include "media/sting_importer.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include "base/log.h"

namespace brellow::media {

namespace fs = std::filesystem;

namespace {

constexpr int kMaxChannels = 64;

struct FormatCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct CodecCloser {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct SwrCloser {
    void operator()(SwrContext* context) const { swr_free(&context); }
};
struct PacketCloser {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FrameCloser {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

ImportError error(ImportError::Code code, std::string message = {}) {
    return {code, std::move(message)};
}

// Decodes the best audio stream of a file into interleaved float frames at a fixed rate and
// channel count, and hands them to a sink in the order decoded.
class Decoder {
  public:
    Result<void, ImportError> open(const fs::path& source) {
        AVFormatContext* raw = nullptr;
        if (avformat_open_input(&raw, source.c_str(), nullptr, nullptr) < 0) {
            return fail(error(ImportError::Code::unreadableSource));
        }
        format_.reset(raw);
        if (avformat_find_stream_info(format_.get(), nullptr) < 0)
            return fail(error(ImportError::Code::unreadableSource));
        const AVCodec* codec = nullptr;
        stream_ = av_find_best_stream(format_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
        if (stream_ < 0) {
            return fail(error(stream_ == AVERROR_DECODER_NOT_FOUND
                                  ? ImportError::Code::unsupportedFormat
                                  : ImportError::Code::unreadableSource));
        }
        codec_.reset(avcodec_alloc_context3(codec));
        if (!codec_ ||
            avcodec_parameters_to_context(codec_.get(), format_->streams[stream_]->codecpar) < 0 ||
            avcodec_open2(codec_.get(), codec, nullptr) < 0) {
            return fail(error(ImportError::Code::unsupportedFormat));
        }
        rate_ = codec_->sample_rate;
        channels_ = codec_->ch_layout.nb_channels;
        if (rate_ <= 0 || channels_ <= 0 || channels_ > kMaxChannels) {
            return fail(error(ImportError::Code::unsupportedFormat));
        }
        return {};
    }

    int rate() const { return rate_; }
    int channels() const { return channels_; }

    /// Decodes everything; `sink(interleaved, frames)` returns false to stop with `failure`.
    template <class Sink>
    Result<void, ImportError> run(Sink&& sink) {
        std::unique_ptr<AVPacket, PacketCloser> packet(av_packet_alloc());
        std::unique_ptr<AVFrame, FrameCloser> frame(av_frame_alloc());
        if (!packet || !frame) return fail(error(ImportError::Code::unsupportedFormat));
        bool draining = false;
        while (!draining) {
            const int read = av_read_frame(format_.get(), packet.get());
            if (read < 0) {
                draining = true;
                avcodec_send_packet(codec_.get(), nullptr);
            } else {
                const bool ours = packet->stream_index == stream_;
                // A damaged packet is skipped, as players do; the rest still decodes.
                if (ours) (void)avcodec_send_packet(codec_.get(), packet.get());
                av_packet_unref(packet.get());
                if (!ours) continue;
            }
            while (avcodec_receive_frame(codec_.get(), frame.get()) == 0) {
                auto converted = convert(frame.get());
                av_frame_unref(frame.get());
                if (!converted) return fail(converted.error());
                if (!sink(samples_.data(), *converted)) return fail(sinkFailure);
            }
        }
        // What the converter still holds.
        if (swr_) {
            auto converted = convert(nullptr);
            if (!converted) return fail(converted.error());
            if (*converted > 0 && !sink(samples_.data(), *converted)) return fail(sinkFailure);
        }
        return {};
    }

    ImportError sinkFailure;

  private:
    // Converts a decoded frame (or, given null, what the converter buffered) to interleaved
    // float at the file's rate and channel count; returns the frames in `samples_`.
    Result<int, ImportError> convert(const AVFrame* frame) {
        if (frame != nullptr &&
            (!swr_ || frame->format != inFormat_ || frame->sample_rate != inRate_ ||
             av_channel_layout_compare(&frame->ch_layout, &inLayout_) != 0)) {
            if (auto made = makeConverter(*frame); !made) return fail(made.error());
        }
        if (!swr_) return 0;
        const int in = frame != nullptr ? frame->nb_samples : 0;
        const int room = swr_get_out_samples(swr_.get(), in);
        if (room <= 0) return 0;
        samples_.resize(static_cast<std::size_t>(room) * static_cast<std::size_t>(channels_));
        auto* out = reinterpret_cast<std::uint8_t*>(samples_.data());
        const int made = swr_convert(
            swr_.get(), &out, room,
            frame != nullptr ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr,
            in);
        if (made < 0) return fail(error(ImportError::Code::writeFailed, "conversion failed"));
        return made;
    }

    Result<void, ImportError> makeConverter(const AVFrame& frame) {
        AVChannelLayout outLayout{};
        av_channel_layout_default(&outLayout, channels_);
        AVChannelLayout inLayout{};  // this FFmpeg takes the layouts by non-const pointer
        av_channel_layout_copy(&inLayout, &frame.ch_layout);
        SwrContext* raw = nullptr;
        const int made = swr_alloc_set_opts2(&raw, &outLayout, AV_SAMPLE_FMT_FLT, rate_, &inLayout,
                                             static_cast<AVSampleFormat>(frame.format),
                                             frame.sample_rate, 0, nullptr);
        av_channel_layout_uninit(&outLayout);
        av_channel_layout_uninit(&inLayout);
        swr_.reset(raw);
        if (made < 0 || swr_init(swr_.get()) < 0) {
            swr_.reset();
            return fail(error(ImportError::Code::unsupportedFormat));
        }
        inFormat_ = frame.format;
        inRate_ = frame.sample_rate;
        av_channel_layout_uninit(&inLayout_);
        av_channel_layout_copy(&inLayout_, &frame.ch_layout);
        return {};
    }

    std::unique_ptr<AVFormatContext, FormatCloser> format_;
    std::unique_ptr<AVCodecContext, CodecCloser> codec_;
    std::unique_ptr<SwrContext, SwrCloser> swr_;
    int stream_ = -1;
    int rate_ = 0;
    int channels_ = 0;
    int inFormat_ = -1;
    int inRate_ = 0;
    AVChannelLayout inLayout_{};
    std::vector<float> samples_;

  public:
    ~Decoder() { av_channel_layout_uninit(&inLayout_); }
};

// Collects frames into fixed blocks and writes each block to the CAF file.
class CafWriter {
  public:
    CafWriter(SNDFILE* file, int channels)
        : file_(file),
          channels_(static_cast<std::size_t>(channels)),
          block_(kImportBlockFrames * channels_) {}

    bool append(const float* interleaved, int frames) {
        std::size_t offset = 0;
        auto remaining = static_cast<std::size_t>(frames);
        while (remaining > 0) {
            const std::size_t take =
                std::min(remaining, static_cast<std::size_t>(kImportBlockFrames) - filled_);
            std::copy_n(interleaved + offset * channels_, take * channels_,
                        block_.data() + filled_ * channels_);
            filled_ += take;
            offset += take;
            remaining -= take;
            if (filled_ == static_cast<std::size_t>(kImportBlockFrames) && !flush()) return false;
        }
        return true;
    }

    bool flush() {
        if (filled_ == 0) return true;
        const sf_count_t written =
            sf_writef_float(file_, block_.data(), static_cast<sf_count_t>(filled_));
        if (written != static_cast<sf_count_t>(filled_)) return false;
        framesWritten_ += static_cast<std::int64_t>(filled_);
        filled_ = 0;
        return true;
    }

    std::int64_t framesWritten() const { return framesWritten_; }

  private:
    SNDFILE* file_;
    std::size_t channels_;
    std::vector<float> block_;
    std::size_t filled_ = 0;
    std::int64_t framesWritten_ = 0;
};

}  // namespace

std::string ImportError::description() const {
    const char* name = "unreadableSource";
    switch (code) {
        case Code::writeFailed:
            name = "writeFailed";
            break;
        case Code::unreadableSource:
            name = "unreadableSource";
            break;
        case Code::unsupportedFormat:
            name = "unsupportedFormat";
            break;
        case Code::mediaDirectoryUnavailable:
            name = "mediaDirectoryUnavailable";
            break;
        case Code::io:
            return message;
    }
    return message.empty()
               ? std::string("The operation couldn’t be completed. (ImportError.") + name + ")"
               : std::string(name) + ": " + message;
}

Result<Sting, ImportError> importSting(const fs::path& source, const fs::path& mediaFolder) {
    std::error_code ignored;
    if (!fs::is_directory(mediaFolder, ignored))
        return fail(error(ImportError::Code::mediaDirectoryUnavailable));
    const Uuid id = Uuid::generate();
    const fs::path destination = mediaFolder / (id.toString() + ".caf");

    av_log_set_level(AV_LOG_QUIET);  // failures are ours to report
    Decoder decoder;
    if (auto opened = decoder.open(source); !opened) return fail(opened.error());

    SF_INFO info{};
    info.samplerate = decoder.rate();
    info.channels = decoder.channels();
    info.format = SF_FORMAT_CAF | SF_FORMAT_FLOAT | SF_ENDIAN_LITTLE;
    SNDFILE* file = sf_open(destination.c_str(), SFM_WRITE, &info);
    if (file == nullptr) return fail(error(ImportError::Code::writeFailed, sf_strerror(nullptr)));

    CafWriter writer(file, decoder.channels());
    auto decoded = decoder.run([&](const float* samples, int frames) {
        if (writer.append(samples, frames)) return true;
        decoder.sinkFailure =
            error(ImportError::Code::io, std::string("writing ") + destination.filename().string() +
                                             ": " + sf_strerror(file));
        return false;
    });
    const bool flushed = decoded && writer.flush();
    const std::string writeProblem = flushed ? "" : sf_strerror(file);
    const bool closed = sf_close(file) == 0;
    auto discard = [&](ImportError failure) {
        fs::remove(destination, ignored);
        return fail(std::move(failure));
    };
    if (!decoded) return discard(decoded.error());
    if (!flushed || !closed)
        return discard(error(ImportError::Code::io,
                             "writing " + destination.filename().string() + ": " + writeProblem));
    if (writer.framesWritten() == 0) return discard(error(ImportError::Code::unreadableSource));

    Sting sting;
    sting.id = id;
    sting.name = source.stem().string();
    sting.mediaFilename = destination.filename().string();
    sting.durationSec = static_cast<double>(writer.framesWritten()) / decoder.rate();
    Logger("Importer")
        .notice("Imported %s → %s dur=%.*fs", source.filename().c_str(),
                sting.mediaFilename.c_str(), 2, sting.durationSec);
    return sting;
}

bool isImportableExtension(std::string_view extension) {
    static constexpr std::array<std::string_view, 17> kExtensions = {
        "wav", "wave", "w64", "aif",  "aiff", "aifc", "flac", "mp3", "m4a",
        "aac", "ogg",  "oga", "opus", "caf",  "wv",   "mka",  "mp2"};
    return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

}  // namespace brellow::media
