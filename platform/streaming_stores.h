// Writing results far larger than the processor's caches.
//
// An ordinary store to a line that is not in the cache first reads that line
// from memory (to own it), then writes it back later: a result that no cache
// can hold costs its size twice in memory traffic. Streaming (non-temporal)
// stores go to memory without that read, which for a conversion of 16-bit
// samples to doubles saves about a third of the traffic. They only pay when
// the result does not fit in the last-level cache anyway: a smaller result
// written so would be read back from memory by a caller that could have
// found it in the cache.
//
// ScaleInt16Streaming uses SSE2 where the compiler targets it (x86-64 with
// any compiler, 32-bit x86 built for SSE2) and ordinary stores elsewhere;
// its results are the same bits either way.
//
// Threading: every function may be called from any thread. Streaming stores
// are weakly ordered: a thread that wrote memory with them calls
// StreamingStoresFence before it hands that memory to anyone else.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mlr {

// The size in bytes of the processor's largest (last-level) cache as the
// system reports it, or 32 MiB when it reports none. Read once per process.
size_t LastLevelCacheBytes();

// What the system reports of that size on each call, 0 when it reports none
// (platform/posix/cache_size.cc, platform/win32/cache_size.cc); callers use
// LastLevelCacheBytes.
size_t SystemLastLevelCacheBytes();

// out[k] = raw[k] x step[k] + y0[k] for k in [0, count), each value with two
// roundings (the product, then the sum; never a fused multiply-add), written
// with streaming stores where the build has them. The buffers must not
// overlap; none needs any alignment beyond its element type's.
void ScaleInt16Streaming(const int16_t* raw, double* out, size_t count, const double* step,
                         const double* y0);

// Orders every streaming store this thread made before its later stores (a
// store fence); nothing where the build has no streaming stores.
void StreamingStoresFence();

}  // namespace mlr
