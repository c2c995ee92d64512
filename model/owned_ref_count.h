// Reference counting of the object model's ownership scheme.
//
// A recording owns its object tree. Children (collections, groups, channel
// infos, normsets, physical channels, display pages) are created and deleted
// by their owner, never by COM reference counts:
//
//  - `ChildRefCount`: a child keeps its own counter, but `AddRef` increments
//    it and then calls `AddRef` of its owner, answering the owner's result;
//    `Release` answers 0 at once when its own counter is already below 1,
//    otherwise decrements it and calls `Release` of its owner, answering the
//    owner's result. A child never deletes itself; a client holding any
//    child therefore holds the root.
//  - `RootRefCount`: the root's counter; `Release` tells when it reached zero
//    so that the root deletes itself (and, from its destructor, its
//    children, by plain deletion).
//  - `ItemRefCount`: items made on request (trigger, marker, bookmark
//    objects) count their own references, delete themselves at zero, and
//    pass every AddRef and Release on to their owning collection too.
//
// Owner pointers are plain (non-counting), set at construction and never
// changed. Counts use a relaxed increment and an acquire/release decrement.
#pragma once

#include <atomic>

#include "platform/win.h"

namespace mlr::model {

class RootRefCount {
 public:
  ULONG Increment() { return static_cast<ULONG>(count_.fetch_add(1, std::memory_order_relaxed) + 1); }
  // The count after the decrement; 0 means the object must delete itself.
  ULONG Decrement() { return static_cast<ULONG>(count_.fetch_sub(1, std::memory_order_acq_rel) - 1); }
  LONG value() const { return count_.load(std::memory_order_acquire); }

 private:
  std::atomic<LONG> count_{0};
};

// `Owner` is any type with AddRef() and Release().
template <class Owner>
class ChildRefCount {
 public:
  explicit ChildRefCount(Owner* owner) : owner_(owner) {}

  ULONG AddRef() {
    count_.fetch_add(1, std::memory_order_relaxed);
    return owner_->AddRef();
  }
  // The test "below 1" and the decrement are one atomic step, so an extra
  // Release racing the last legitimate one cannot reach the owner twice.
  ULONG Release() {
    LONG current = count_.load(std::memory_order_acquire);
    do {
      if (current < 1) return 0;
    } while (!count_.compare_exchange_weak(current, current - 1, std::memory_order_acq_rel,
                                           std::memory_order_acquire));
    return owner_->Release();
  }
  // The child's own count (references handed out through this child).
  LONG value() const { return count_.load(std::memory_order_acquire); }
  Owner* owner() const { return owner_; }

 private:
  Owner* const owner_;
  std::atomic<LONG> count_{0};
};

// `Owner` is any type with AddRef() and Release(). The count starts at 0.
template <class Owner>
class ItemRefCount {
 public:
  explicit ItemRefCount(Owner* owner) : owner_(owner) {}

  ULONG AddRef() {
    const LONG now = count_.fetch_add(1, std::memory_order_relaxed) + 1;
    owner_->AddRef();
    return static_cast<ULONG>(now);
  }
  // Decrements; at zero calls `destroy()` (which deletes the item holding
  // this counter), then passes the release on to the owner. Answers the
  // item's own remaining count.
  template <class Destroy>
  ULONG Release(Destroy destroy) {
    Owner* const owner = owner_;
    const LONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) destroy();
    owner->Release();
    return static_cast<ULONG>(left < 0 ? 0 : left);
  }
  Owner* owner() const { return owner_; }

 private:
  Owner* const owner_;
  std::atomic<LONG> count_{0};
};

}  // namespace mlr::model
