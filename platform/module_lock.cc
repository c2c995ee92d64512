#include "platform/module_lock.h"

#include <atomic>

namespace mlr {
namespace {

std::atomic<LONG> g_locks{0};

}  // namespace

void LockModule() { g_locks.fetch_add(1, std::memory_order_relaxed); }

void UnlockModule() { g_locks.fetch_sub(1, std::memory_order_acq_rel); }

LONG ModuleLockCount() { return g_locks.load(std::memory_order_acquire); }

}  // namespace mlr
