// Counts allocations, frees and mutex locks made on a thread inside a render callback, by
// standing in for the C library's allocator and pthread_mutex_lock in test programs.
// (C++ allocation goes through malloc, so this catches operator new as well.)
#include <dlfcn.h>
#include <pthread.h>

#include <cstddef>
#include <cstdlib>

#include "audio/graph/rt_guard.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* pointer, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* pointer);
}

namespace {

// Set BRELLOW_RT_TRAP_ABORT=1 to stop at the first violation, for a backtrace in a debugger.
void violation(std::atomic<std::uint64_t>& counter) {
    counter.fetch_add(1, std::memory_order_relaxed);
    static const bool abortOnViolation = std::getenv("BRELLOW_RT_TRAP_ABORT") != nullptr;  // NOLINT
    if (abortOnViolation) std::abort();
}

void noteAllocation() {
    if (brellow::audio::insideRenderCallback()) {
        violation(brellow::audio::RenderThreadViolations::allocations);
    }
}

using LockFunction = int (*)(pthread_mutex_t*);
LockFunction realLock = nullptr;

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
    noteAllocation();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    noteAllocation();
    return __libc_calloc(count, size);
}

void* realloc(void* pointer, std::size_t size) {
    noteAllocation();
    return __libc_realloc(pointer, size);
}

void free(void* pointer) {
    if (pointer != nullptr) noteAllocation();
    __libc_free(pointer);
}

int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
    noteAllocation();
    *out = __libc_memalign(alignment, size);
    return *out != nullptr ? 0 : 12;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    noteAllocation();
    return __libc_memalign(alignment, size);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    if (brellow::audio::insideRenderCallback()) {
        violation(brellow::audio::RenderThreadViolations::locks);
    }
    if (realLock == nullptr) {
        realLock = reinterpret_cast<LockFunction>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    }
    return realLock(mutex);
}

}  // extern "C"
