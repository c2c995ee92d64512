// A child collection made on first use (triggers, markers, bookmarks,
// horizontal and vertical normsets) and owned from then on.
//
// The first use takes no lock. When threads race on it, each may build a
// candidate, but one compare-and-swap decides: the winner's object is kept
// and returned to every caller, the others delete theirs. So a collection is
// never replaced while a pointer to it is out, and every caller sees the same
// object.
//
// The holder deletes the object with itself (plain deletion).
#pragma once

#include <atomic>
#include <new>
#include <utility>

namespace mlr::model {

template <class T>
class LazyChild {
 public:
  LazyChild() = default;
  LazyChild(const LazyChild&) = delete;
  LazyChild& operator=(const LazyChild&) = delete;
  ~LazyChild() { delete object_.load(std::memory_order_acquire); }

  // The object, made from `args` if there is none yet; null only when it
  // could not be allocated.
  template <class... Args>
  T* GetOrCreate(Args&&... args) {
    T* current = object_.load(std::memory_order_acquire);
    if (current != nullptr) return current;
    T* made = new (std::nothrow) T(std::forward<Args>(args)...);
    if (made == nullptr) return nullptr;
    if (object_.compare_exchange_strong(current, made, std::memory_order_acq_rel,
                                        std::memory_order_acquire)) {
      return made;
    }
    delete made;  // another thread won; `current` holds its object
    return current;
  }

  // The object if it exists, else null.
  T* get() const { return object_.load(std::memory_order_acquire); }

 private:
  std::atomic<T*> object_{nullptr};
};

}  // namespace mlr::model
