#pragma once
// Marks the code that runs on the render thread. A test build links a trap that counts every
// allocation and lock taken while the mark is set; the product only sets a thread-local flag.
#include <atomic>
#include <cstdint>

namespace brellow::audio {

/// True on a thread that is inside a render callback.
bool insideRenderCallback();

class RenderThreadScope {
  public:
    RenderThreadScope();
    ~RenderThreadScope();
    RenderThreadScope(const RenderThreadScope&) = delete;
    RenderThreadScope& operator=(const RenderThreadScope&) = delete;
};

/// What the trap saw on render threads; stays zero without the trap.
struct RenderThreadViolations {
    static std::atomic<std::uint64_t> allocations;
    static std::atomic<std::uint64_t> locks;
};

}  // namespace brellow::audio
