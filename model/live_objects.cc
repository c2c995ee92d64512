#include "model/live_objects.h"

namespace mlr::model {
namespace {
std::atomic<long> g_live_objects{0};
}  // namespace

long LiveObjectCount() { return g_live_objects.load(std::memory_order_acquire); }

LiveObjectToken::LiveObjectToken() { g_live_objects.fetch_add(1, std::memory_order_relaxed); }
LiveObjectToken::LiveObjectToken(const LiveObjectToken&) {
  g_live_objects.fetch_add(1, std::memory_order_relaxed);
}
LiveObjectToken::~LiveObjectToken() { g_live_objects.fetch_sub(1, std::memory_order_acq_rel); }

}  // namespace mlr::model
