#pragma once
// One loaded sting in the engine: its player and mixer, its media, and the state of its run.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "audio/engine/engine_error.h"
#include "audio/graph/audio_file.h"
#include "audio/graph/nodes.h"
#include "base/uuid.h"

namespace brellow::audio {

struct StingNode {
    enum class Storage { buffer, file };

    Uuid id;
    std::filesystem::path url;
    std::unique_ptr<PlayerNode> player;
    std::unique_ptr<MixerNode> mixer;
    AudioFormat format;
    std::int64_t totalFrames = 0;
    Storage storage = Storage::buffer;
    std::shared_ptr<const PcmBuffer> buffer;  // storage buffer
    std::shared_ptr<AudioFile> file;          // storage file
    std::shared_ptr<const PcmBuffer> head;    // storage file: its first seconds, in memory
    std::uint64_t memoryBytes = 0;            // storage buffer: what it takes of the budget
    double targetVolumeDB = 0;
    double fadeInSec = 0;
    double fadeOutSec = 0;
    double currentTrimInSec = 0;
    double playableDurationSec = 0;
    bool currentlyLooped = false;
    bool cancelLoop = false;
    bool stopFading = false;
    bool suppressNextNonLoopCompletion = false;
    double playheadOffsetSec = 0;
    std::optional<std::uint64_t> fadeTimer;
    bool playIntent = false;
    double lastKnownPositionSec = 0;
    /// Counts the runs of this sting; a completion of an item scheduled in an earlier run (cut
    /// short by a stop, a new play, a trim or loop change, or a restart) is ignored.
    std::uint64_t generation = 0;

    const char* storageName() const { return storage == Storage::buffer ? "buffer" : "file"; }
};

/// A sting's media as loading found it, before it joins the graph: in memory (`buffer`) or
/// to be streamed (`file`), or why it could not be read.
struct DecodedSting {
    std::shared_ptr<AudioFile> file;  // open in either case
    std::shared_ptr<const PcmBuffer> buffer;
    std::shared_ptr<const PcmBuffer> head;  // streamed: the first seconds
    AudioFormat format;
    std::int64_t length = 0;
    std::optional<EngineFailure> failure;
};

}  // namespace brellow::audio
