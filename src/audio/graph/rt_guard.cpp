#include "audio/graph/rt_guard.h"

namespace brellow::audio {

namespace {
thread_local int renderDepth = 0;
}

std::atomic<std::uint64_t> RenderThreadViolations::allocations{0};
std::atomic<std::uint64_t> RenderThreadViolations::locks{0};

bool insideRenderCallback() {
    return renderDepth > 0;
}

RenderThreadScope::RenderThreadScope() {
    ++renderDepth;
}
RenderThreadScope::~RenderThreadScope() {
    --renderDepth;
}

}  // namespace brellow::audio
