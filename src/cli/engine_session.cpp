#include "cli/engine_session.h"

#include "cli/cli.h"
#include "document/sting_loading.h"

namespace brellow::cli {

std::optional<Sting> findSting(const Show& show, const std::string& nameOrID) {
    const auto id = Uuid::parse(nameOrID);
    for (const Sting& sting : allStings(show)) {
        if ((id && sting.id == *id) || sting.name == nameOrID) return sting;
    }
    return std::nullopt;
}

void fireSting(audio::AudioEngineService& engine, const Show& show, const Sting& sting,
               FailureReport& failures) {
    constexpr double kSoloFallbackFadeSec = 0.4;
    if (show.soloMode) engine.stopOthers(sting.id, kSoloFallbackFadeSec);
    engine.play(sting.id, sting.trimInSec, sting.trimOutSec, sting.loop, sting.fadeInSec,
                sting.fadeOutSec, [sting, &failures](auto started) {
                    if (!started) failures.stingFailed(sting, started.error());
                });
}

bool openWithEngine(ShowDocument& document, const std::string& package,
                    const std::shared_ptr<audio::AudioEngineService>& engine,
                    const std::function<void()>& spin) {
    bool loaded = false;
    loadStingsOnOpen(document, engine, [&] { loaded = true; });
    if (auto read = document.read(package); !read) {
        complain(kExitFailed, read.error().message);
        return false;
    }
    while (!loaded)
        spin();
    return true;
}

}  // namespace brellow::cli
