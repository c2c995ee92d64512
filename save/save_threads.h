// The threads of a save: CThreadBase and the two helpers of the main save
// thread, CSaveThread (a worker) and CWriterThread (the writer).
//
// CThreadBase
//   Start(name) creates the thread (default stack, not suspended, priority
//   THREAD_PRIORITY_HIGHEST) and names it for debuggers (at most 8
//   characters); true when the thread exists. The thread joins the
//   multithreaded apartment, calls Run and leaves the apartment.
//   RequestStop sets the stop flag; nobody waits inside it. Join waits,
//   without time-out, for a started thread to end (nothing when it never
//   started). The error code keeps the first failure: SetError stores a code
//   only while the stored one is not negative.
//
// CSaveThread (worker)
//   Idle: its done event (manual-reset) is set. Dispatch(group, phase)
//   resets it, records the target and sets the work event (auto-reset); the
//   worker wakes within its 100 ms wait, runs the group's phase operation
//   and sets the done event again. A worker with no target ever set runs the
//   phase on every group of its list instead. When its stop flag is set it
//   ends within 100 ms if idle, else after the current phase operation, and
//   sets the done event on its way out.
//
// CWriterThread (writer)
//   Submit performs the job at once on the calling thread when the writer
//   was never started (a failure becomes the writer's error code); otherwise
//   it waits while more than kMaxQueuedJobs jobs are queued, then appends the
//   job. Both waits (the producer's for room, the idle writer's for a job)
//   test at least every 100 ms and are also woken by an event as soon as a
//   job leaves or enters the queue: a fixed 100 ms sleep would cap the
//   throughput at kMaxQueuedJobs blocks per 100 ms, well below a disk's
//   rate. The thread performs jobs in order; a job
//   leaves the queue only after it has been written, so QueueEmpty means
//   every submitted write is done. A failed job's code becomes the writer's
//   error code; later jobs are still performed. The thread ends when its stop
//   flag is set and the queue is empty: it never drops a queued job.
//
// Threading: Start, RequestStop and Join from the owner's thread; the stop
// flag and the error code are atomics readable from any thread. A worker's
// group list is guarded by its mutex, the writer's queue by its critical
// section; no thread holds two of these locks at once.
// Ownership: the main save thread owns its workers and its writer; the
// groups belong to the save model. A thread object must outlive its thread
// (Join before destroying a started thread; the destructors join too).
#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <vector>

#include "platform/win.h"
#include "save/save_object.h"
#include "save/save_write_job.h"

namespace mlr::save {

class CThreadBase : public CSaveStopSource {
 public:
  CThreadBase() = default;
  virtual ~CThreadBase();
  CThreadBase(const CThreadBase&) = delete;
  CThreadBase& operator=(const CThreadBase&) = delete;

  bool Start(const char* name);
  void RequestStop() { stop_.store(1, std::memory_order_release); }
  bool StopRequested() const override { return stop_.load(std::memory_order_acquire) != 0; }
  // Waits for the thread to end; on the thread itself (an object deleted by
  // its own thread at the very end of Run) it only closes the handle.
  void Join();

  bool started() const { return handle_ != INVALID_HANDLE_VALUE; }
  const char* name() const { return name_; }
  HRESULT error() const { return error_.load(std::memory_order_acquire); }
  void SetError(HRESULT hr);

 protected:
  // The body of the thread.
  virtual void Run() = 0;

 private:
  static DWORD WINAPI Body(LPVOID self);

  HANDLE handle_ = INVALID_HANDLE_VALUE;
  std::atomic<DWORD> thread_id_{0};
  char name_[9] = {};
  std::atomic<LONG> stop_{0};
  std::atomic<HRESULT> error_{S_OK};
};

class CSaveThread final : public CThreadBase {
 public:
  CSaveThread();
  ~CSaveThread() override;

  // Appends a group to this worker's list (under its mutex).
  void AddGroup(CSaveObject* group);
  // Hands `group` to the worker for `phase` (main save thread only, and only
  // while the worker is idle).
  void Dispatch(CSaveObject* group, ULONG phase);
  // Set while the worker is idle; waitable.
  HANDLE done_event() const { return done_; }

 protected:
  void Run() override;

 private:
  HANDLE mutex_;
  HANDLE work_;
  HANDLE done_;
  std::vector<CSaveObject*> groups_;
  std::atomic<CSaveObject*> target_{nullptr};
  std::atomic<ULONG> phase_{0};
};

class CWriterThread final : public CThreadBase, public CSaveWriteQueue {
 public:
  static constexpr size_t kMaxQueuedJobs = 4;

  CWriterThread();
  ~CWriterThread() override;

  void Submit(std::unique_ptr<CSaveWriteJob> job) override;
  bool QueueEmpty() const;

 protected:
  void Run() override;

 private:
  size_t QueuedJobs() const;

  HANDLE queued_;  // auto-reset: a job was appended
  HANDLE space_;   // auto-reset: a job left the queue
  mutable CRITICAL_SECTION lock_;
  std::deque<std::unique_ptr<CSaveWriteJob>> queue_;
};

}  // namespace mlr::save
