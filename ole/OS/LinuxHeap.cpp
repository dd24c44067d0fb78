#include "OS/LinuxHeap.h"

#ifdef VQ_OS_MIMALLOC

#include <dlfcn.h>
#include <sched.h>
#include <stdexcept>

namespace Vq {

constinit std::atomic<HeapKind> heapKind = HeapKind::kUnknown;

namespace {

// Set on the thread that asks; what arrives meanwhile from it is the answer.
[[gnu::tls_model("initial-exec")]] constinit thread_local bool isAsking = false;
constinit bool wasReached = false; // the asking thread's

/// Does the C++ runtime allocate here? It keeps the text of an exception in a block of its own
/// making, by whatever `operator new` it is bound to.
bool runtimeAllocatesHere() noexcept {
    isAsking = true;
    try {
        const std::runtime_error asked("Where does this text go?");
    } catch (...) { // no memory: nothing is known, and malloc is right everywhere
        wasReached = false;
    }
    isAsking = false;
    return wasReached;
}

/// Is there an `operator new` that whatever is loaded later will call?
bool programHasOperators() noexcept {
    void* const program = dlopen(nullptr, RTLD_LAZY);
    if (!program) return false;
    const bool found = dlsym(program, "_Znwm") != nullptr;
    if (!found) dlerror(); // no message of ours is left to whoever asks next
    dlclose(program);
    return found;
}

// As a rule while libVq is being loaded, which makes its constant strings then: before there are
// threads that would have to wait. Not earlier, since the question reaches the program's operators.
void decide() noexcept {
    HeapKind seen = HeapKind::kUnknown;
    if (heapKind.compare_exchange_strong(seen, HeapKind::kAsking)) {
        heapKind = programHasOperators() && runtimeAllocatesHere() ? HeapKind::kMimalloc
                                                                   : HeapKind::kMalloc;
    }
    while (heapKind.load() == HeapKind::kAsking) sched_yield(); // another thread asks
}

} // namespace

void* otherHeapAllocate(unsigned long bytes) noexcept {
    if (isAsking) {
        wasReached = true;
        return std::malloc(bytes); // freed before the kind is known, so as malloc's
    }
    if (heapKind.load() != HeapKind::kMalloc) {
        decide();
        if (heapIsMimalloc()) return heapAllocate(bytes);
    }
    return std::malloc(bytes);
}

} // namespace Vq

#endif
