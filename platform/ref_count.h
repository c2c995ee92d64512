// Atomic reference counting for object implementations.
//
//   class CFoo : public IFoo {
//     ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
//     ULONG STDMETHODCALLTYPE Release() override {
//       ULONG n = refs_.Release();
//       if (n == 0) delete this;
//       return n;
//     }
//     mlr::RefCount refs_;   // starts at 1: the creator's reference
//   };
//
// The increment is relaxed (taking a reference needs no ordering: the caller
// already holds one); the decrement is acquire/release so that every write
// made through other references happens before the destruction that follows
// the last Release. Thread-safe.
#pragma once

#include "platform/win.h"

#include <atomic>

namespace mlr {

class RefCount {
 public:
  explicit RefCount(ULONG initial = 1) : count_(initial) {}
  RefCount(const RefCount&) = delete;
  RefCount& operator=(const RefCount&) = delete;

  ULONG AddRef() { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
  // Returns the count after the decrement; 0 means the caller must destroy.
  ULONG Release() { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
  // For tests and diagnostics only: the value may change at once.
  ULONG Peek() const { return count_.load(std::memory_order_relaxed); }

 private:
  std::atomic<ULONG> count_;
};

}  // namespace mlr
