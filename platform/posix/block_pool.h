// The pool of large safe-array data blocks (POSIX build, internal to
// platform/posix).
//
// A data block of a megabyte or more that the allocator gets fresh from the
// system costs a page fault and a page clearing per 4 KiB on first touch,
// which for a block that is written once (a data function's result) is
// several times the cost of writing it. Clients that read a recording block
// by block destroy one large array and create the next of the same size, so
// the pool keeps destroyed large blocks for a short while and hands them out
// again.
//
// Blocks come from and go back to malloc/free, so a block may be given to
// realloc or free like any other data block. Ownership passes with the calls:
// a block handed to PoolKeep belongs to the pool (the caller must not touch
// it again) unless PoolKeep returns false; a block PoolTake returns belongs to
// the caller. Contents of a taken block are unspecified (whatever its last
// user left): callers that promise zeros clear it.
//
// Bounds: blocks below kPoolMinBytes are not kept (the heap serves them well);
// at most kPoolMaxBlocks blocks and kPoolMaxBytes bytes are kept (the oldest
// go first); a block not taken again within kPoolIdleMs milliseconds is freed
// by a helper thread, which runs only while the pool holds blocks. A request
// takes a kept block of at least the bytes asked for and at most a quarter
// more.
//
// Threading: every function may be called from any thread.
#pragma once

#include <cstddef>

namespace mlr::posix {

constexpr size_t kPoolMinBytes = size_t{1} << 20;
constexpr size_t kPoolMaxBlocks = 8;
constexpr size_t kPoolMaxBytes = size_t{256} << 20;
constexpr unsigned kPoolIdleMs = 1000;

// A kept block of capacity in [bytes, bytes + bytes / 4], or null (also for
// bytes below kPoolMinBytes).
void* PoolTake(size_t bytes);

// Offers a malloc'd block of (at least) `bytes` bytes; true when the pool
// keeps it, false when the caller keeps it (and frees it).
bool PoolKeep(void* block, size_t bytes);

// Bytes the pool holds now (for tests).
size_t PoolHeldBytes();

// Frees every kept block at once (for tests).
void PoolRelease();

}  // namespace mlr::posix
