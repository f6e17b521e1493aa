// Loading stings: decoding (on a load thread when the engine has them) and attaching the
// decoded sting to the graph (on the executor).
#include "audio/engine/audio_engine_service.h"

#include <cmath>

namespace brellow::audio {

DecodedSting AudioEngineService::decodeSting(const std::filesystem::path& url,
                                             std::uint64_t memoryLimitBytes) {
    DecodedSting decoded;
    auto opened = AudioFile::open(url);
    if (!opened) {
        decoded.failure = EngineFailure{opened.error()};
        return decoded;
    }
    decoded.file = std::move(opened).value();
    decoded.format = decoded.file->processingFormat();
    decoded.length = decoded.file->length();
    const std::uint64_t bytes =
        static_cast<std::uint64_t>(decoded.length) * decoded.format.bytesPerFrame();
    if (bytes <= memoryLimitBytes) {
        auto buffer = PcmBuffer::create(decoded.format, static_cast<std::uint32_t>(decoded.length));
        if (buffer) {
            if (auto read = decoded.file->readInto(*buffer); !read) {
                decoded.failure = EngineFailure{read.error()};
                return decoded;
            }
            decoded.buffer = std::move(buffer);
            return decoded;  // the file stays open in case the show's budget is used up
        }
    }
    // Streamed: its first seconds are read now, so it starts on time.
    const auto headFrames = static_cast<std::uint32_t>(std::min<std::int64_t>(
        decoded.length, std::llround(kPreloadSeconds * decoded.format.sampleRate)));
    if (auto head = PcmBuffer::create(decoded.format, headFrames)) {
        if (auto read = decoded.file->readInto(*head); read) decoded.head = std::move(head);
    }
    return decoded;
}

void AudioEngineService::placeInMemoryOrStream(StingNode& node, DecodedSting decoded) {
    if (decoded.buffer) {
        const std::uint64_t bytes = static_cast<std::uint64_t>(decoded.buffer->frameLength()) *
                                    decoded.format.channelCount * decoded.format.bytesPerFrame();
        if (memoryInUseBytes_ + bytes <= memoryBudgetBytes_ || !decoded.file) {
            node.storage = StingNode::Storage::buffer;
            node.buffer = std::move(decoded.buffer);
            node.memoryBytes = bytes;
            memoryInUseBytes_ += bytes;
            return;
        }
        // Over the show's budget: this one streams, keeping its first seconds.
        log_.notice("Sting %s streams from its file: the show holds %llu of %llu bytes in memory",
                    node.id.toString().c_str(), static_cast<unsigned long long>(memoryInUseBytes_),
                    static_cast<unsigned long long>(memoryBudgetBytes_));
        const auto headFrames = static_cast<std::uint32_t>(
            std::min<std::int64_t>(decoded.buffer->frameLength(),
                                   std::llround(kPreloadSeconds * decoded.format.sampleRate)));
        if (auto head = makeSegment(*decoded.buffer, 0, headFrames)) decoded.head = *head;
    }
    node.storage = StingNode::Storage::file;
    node.file = std::move(decoded.file);
    node.head = std::move(decoded.head);
}

void AudioEngineService::doLoadStingInBackground(const Uuid& id, const std::filesystem::path& url,
                                                 double volumeDB, bool urgent, Done done) {
    const std::uint64_t ticket = ++lastLoadTicket_;
    loading_[id] = ticket;
    std::weak_ptr<AudioEngineService> weak = weak_from_this();
    Executor* executor = executor_;
    const std::uint64_t limit = memoryLimitBytes_;
    loaders_->post(
        [weak, executor, id, url, volumeDB, ticket, limit, done = std::move(done)]() mutable {
            auto decoded = std::make_shared<DecodedSting>(decodeSting(url, limit));
            executor->post([weak, id, url, volumeDB, ticket, decoded, done = std::move(done)] {
                auto self = weak.lock();
                if (!self) return;
                const auto pending = self->loading_.find(id);
                // A later load or an unload of the same sting replaced this one.
                if (pending == self->loading_.end() || pending->second != ticket) {
                    if (done) done(std::nullopt);
                    return;
                }
                self->loading_.erase(pending);
                auto attached = self->attachSting(id, url, volumeDB, std::move(*decoded));
                if (done) done(attached ? std::nullopt : std::optional(attached.error()));
            });
        },
        urgent);
}

void AudioEngineService::doStingsNotYetPlayable(
    const std::function<void(std::vector<Uuid>)>& done) {
    std::vector<Uuid> ids;
    ids.reserve(loading_.size());
    for (const auto& [id, ticket] : loading_)
        ids.push_back(id);
    done(std::move(ids));
}

}  // namespace brellow::audio
