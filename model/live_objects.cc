#include "model/live_objects.h"

#include "platform/module_lock.h"

namespace mlr::model {
namespace {
std::atomic<long> g_live_objects{0};
}  // namespace

long LiveObjectCount() { return g_live_objects.load(std::memory_order_acquire); }

// Each live object also holds the module (DllCanUnloadNow).
LiveObjectToken::LiveObjectToken() {
  g_live_objects.fetch_add(1, std::memory_order_relaxed);
  LockModule();
}
LiveObjectToken::LiveObjectToken(const LiveObjectToken&) {
  g_live_objects.fetch_add(1, std::memory_order_relaxed);
  LockModule();
}
LiveObjectToken::~LiveObjectToken() {
  g_live_objects.fetch_sub(1, std::memory_order_acq_rel);
  UnlockModule();
}

}  // namespace mlr::model
