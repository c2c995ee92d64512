#if !defined(_WIN32)

#include "platform/posix/block_pool.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>
#include <pthread.h>
#include <system_error>
#include <thread>
#include <vector>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MLR_POOL_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define MLR_POOL_ASAN 1
#endif
#if defined(MLR_POOL_ASAN)
#include <sanitizer/asan_interface.h>
#endif

namespace mlr::posix {
namespace {

// Under AddressSanitizer a kept block is poisoned, so that a use after
// SafeArrayDestroy is still reported although the block is not freed, and
// so is the tail of a taken block beyond the bytes asked for.
void Poison(void* block, size_t bytes) {
#if defined(MLR_POOL_ASAN)
  ASAN_POISON_MEMORY_REGION(block, bytes);
#else
  (void)block;
  (void)bytes;
#endif
}

void Unpoison(void* block, size_t bytes) {
#if defined(MLR_POOL_ASAN)
  ASAN_UNPOISON_MEMORY_REGION(block, bytes);
#else
  (void)block;
  (void)bytes;
#endif
}

using Clock = std::chrono::steady_clock;

struct Kept {
  void* block;
  size_t bytes;
  Clock::time_point since;
};

// Kept blocks in the order they were kept (oldest first). The reaper thread
// runs while `kept_` is not empty and ends itself when it becomes empty; it
// is joined before the next one starts and when the pool is destroyed (at
// exit, or when the library is unloaded).
//
// fork: the pool is locked while a process forks, so the child inherits a
// consistent list. The child has only the forking thread: the parent's
// reaper, and any wait it was in, do not exist there, so the child forgets
// them (its mutex and condition variable start afresh; the inherited ones,
// which may count the missing thread as a waiter and would never let the
// child finish destroying them, are abandoned) and starts a reaper of its own
// when it next keeps a block. The kept blocks stay with the child.
class Pool {
 public:
  Pool() {
    instance_ = this;
    pthread_atfork([] { if (instance_) instance_->mutex_.lock(); },
                   [] { if (instance_) instance_->mutex_.unlock(); },
                   [] { if (instance_) instance_->ForgetParentThreads(); });
  }

  ~Pool() {
    instance_ = nullptr;
    std::vector<Kept> all;
    {
      std::lock_guard<std::mutex> hold(mutex_);
      closing_ = true;
      all.swap(kept_);
      held_ = 0;
    }
    wake_.notify_all();
    EndReaper();
    FreeAll(all);
  }

  void* Take(size_t bytes) {
    std::lock_guard<std::mutex> hold(mutex_);
    const size_t most = bytes + bytes / 4;
    // The newest fitting block: the one most likely still in the caches.
    for (size_t i = kept_.size(); i-- > 0;) {
      if (kept_[i].bytes >= bytes && kept_[i].bytes <= most) {
        Kept found = kept_[i];
        kept_.erase(kept_.begin() + static_cast<std::ptrdiff_t>(i));
        held_ -= found.bytes;
        Unpoison(found.block, bytes);
        return found.block;
      }
    }
    return nullptr;
  }

  bool Keep(void* block, size_t bytes) {
    std::vector<Kept> evicted;
    {
      std::lock_guard<std::mutex> hold(mutex_);
      if (closing_) return false;
      while (!kept_.empty() &&
             (kept_.size() >= kPoolMaxBlocks || held_ + bytes > kPoolMaxBytes)) {
        evicted.push_back(kept_.front());
        held_ -= kept_.front().bytes;
        kept_.erase(kept_.begin());
      }
      Poison(block, bytes);
      kept_.push_back({block, bytes, Clock::now()});
      held_ += bytes;
      if (!reaping_) {
        EndReaper();  // it has left its loop: ends at once
        try {
          reaper_ = std::thread(&Pool::Reap, this);
          reaping_ = true;
        } catch (const std::system_error&) {
          // No thread, no keeping: nothing would free the block.
          kept_.pop_back();
          held_ -= bytes;
          Unpoison(block, bytes);
          return false;
        }
      }
    }
    FreeAll(evicted);
    return true;
  }

  size_t Held() {
    std::lock_guard<std::mutex> hold(mutex_);
    return held_;
  }

  void ReleaseAll() {
    std::vector<Kept> all;
    {
      std::lock_guard<std::mutex> hold(mutex_);
      all.swap(kept_);
      held_ = 0;
    }
    wake_.notify_all();
    FreeAll(all);
  }

 private:
  static void FreeAll(std::vector<Kept>& blocks) {
    for (Kept& k : blocks) {
      Unpoison(k.block, k.bytes);
      std::free(k.block);
    }
    blocks.clear();
  }

  void EndReaper() {
    if (reaper_.joinable()) reaper_.join();
  }

  // In a child made by fork, right after it (see the class comment).
  void ForgetParentThreads() {
    new (&mutex_) std::mutex();
    new (&wake_) std::condition_variable();
    new (&reaper_) std::thread();
    reaping_ = false;
  }

  void Reap() {
    const auto idle = std::chrono::milliseconds(kPoolIdleMs);
    std::unique_lock<std::mutex> hold(mutex_);
    while (!closing_ && !kept_.empty()) {
      const Clock::time_point due = kept_.front().since + idle;
      if (Clock::now() < due) {
        wake_.wait_until(hold, due);
        continue;
      }
      std::vector<Kept> expired;
      const Clock::time_point now = Clock::now();
      while (!kept_.empty() && kept_.front().since + idle <= now) {
        expired.push_back(kept_.front());
        held_ -= kept_.front().bytes;
        kept_.erase(kept_.begin());
      }
      hold.unlock();
      FreeAll(expired);
      hold.lock();
    }
    reaping_ = false;
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<Kept> kept_;
  size_t held_ = 0;
  bool reaping_ = false;
  bool closing_ = false;
  std::thread reaper_;
  static Pool* instance_;
};

Pool* Pool::instance_ = nullptr;

// Set once the pool is gone (static destruction): from then on every block
// goes straight back to free. Constant-initialised, so it outlives the pool.
std::atomic<bool> g_closed{false};

struct ClosingPool : Pool {
  ~ClosingPool() { g_closed.store(true, std::memory_order_release); }
} g_pool;

bool Open() { return !g_closed.load(std::memory_order_acquire); }

}  // namespace

void* PoolTake(size_t bytes) {
  return bytes >= kPoolMinBytes && Open() ? g_pool.Take(bytes) : nullptr;
}

bool PoolKeep(void* block, size_t bytes) {
  return block != nullptr && bytes >= kPoolMinBytes && bytes <= kPoolMaxBytes && Open() &&
         g_pool.Keep(block, bytes);
}

size_t PoolHeldBytes() { return Open() ? g_pool.Held() : 0; }

void PoolRelease() {
  if (Open()) g_pool.ReleaseAll();
}

}  // namespace mlr::posix

#endif  // !_WIN32
