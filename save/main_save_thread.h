// CMainSaveThread: the thread that runs one save, from the ordering of the
// channel groups to the finishing of the target file.
//
// Run, in order:
//   1. takes the root and "Data" storages out of the global interface table;
//   2. orders the groups: the first group of every source recording (in
//      recording order), then the second of each, and so on;
//   3. records the work-start tick, lets the model align its groups and
//      takes the target's file time from it;
//   4. starts the writer thread ("KrfWrt") only when the model has at most
//      2 groups; with 3 or more every write is made by the worker that
//      submits it;
//   5. has every group create its storage, gives it the writer, the
//      removable-target flag and the save's clock, and deals the groups
//      round-robin to up to 5 workers ("KrfWork1".."KrfWork5"), which it
//      then starts;
//   6. runs phases 1..5 while neither the stop flag nor a failure is set:
//      status Initializing, (phase 1) Initializing, SavingInternals (after
//      phase 1, when the model has gathered its description and writes the
//      recording-wide records), AllocatingDiskSpace (3), SavingData (4,
//      recording the phase-4 tick), Closing (5). Every phase waits until the
//      write queue is empty, then hands each group, in order, to whichever
//      worker is free first, commits the root storage every 5 s while it
//      waits, and copies each group's error code into the save's error code
//      (the first failure wins). A failed write of the writer thread is
//      copied too: a group cannot see it, and a save that lost data must
//      not end as a success (nor wait on workers already told to stop). Once
//      the save is stopping, the groups left undispatched in a phase are
//      counted as done without running;
//   7. stops and joins the workers and the writer; after a stop or a failure
//      runs the clean-up phase on every group; closes every group; releases
//      the storages (all of them at once after a stop, so the file is closed
//      now); drops the model under the lock; sets the status Ready.
// The object is reference counted (the progress object and the running
// thread each hold one); when the last is dropped the destructor releases
// the storages and then either sets the file's creation, access and write
// times to the target's file time (a save that ran to its end) or deletes
// the target file (a stop or a failure), through the KSS storage provider
// when it can be created, else with DeleteFileA.
//
// Status word: set only through SetStatus, which stores a value unless the
// current one has a bit of 0xF0000000 set (then only Aborting -> Aborted is
// allowed; no status uses those bits, so every store succeeds).
//
// Removable target: the drive of the file name ("E:" of "E:\x.krf") or, for
// a name without a drive letter, the folder that holds the file is given to
// GetDriveTypeA; DRIVE_REMOVABLE sets the flag. A worker that fails to
// start is not detected (the dispatcher would wait for it).
//
// Threading: the status word, the stop flag, the error code and the ticks are
// atomics read without a lock by the progress object; the group list is
// read under Lock/Unlock (WithGroups), which Run also holds while it drops
// the model. The time-left state is the progress object's, kept here.
// Ownership: the thread owns the model, its workers and its writer, and holds
// references to both storages and their table cookies.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/win.h"
#include "platform/strings.h"
#include "save/save_clock.h"
#include "save/save_model.h"
#include "save/save_threads.h"

namespace mlr::save {

inline constexpr int kMaxSaveWorkers = 5;
// At most this many groups run with a writer thread.
inline constexpr size_t kWriterThreadMaxGroups = 2;
inline constexpr DWORD kSaveCommitIntervalMs = 5000;

// The time-left estimate's state (save/save_progress.h): three slots of
// recent estimates (-1 = empty), the last result and the tick of the next
// recomputation.
struct CTimeLeftState {
  LONG history[3] = {-1, -1, -1};
  LONG last = 0;
  DWORD next_tick = 0;
};

class CMainSaveThread final : public CThreadBase {
 public:
  // `root` and `data` are the target's root and "Data" storages (held by the
  // thread from now on; may be null in tests that never run the thread).
  // `file_name` is the target's path. The reference count starts at 0.
  CMainSaveThread(const OLECHAR* file_name, IStorage* root, IStorage* data,
                  std::unique_ptr<CSaveModel> model,
                  const CSaveClock& clock = SystemSaveClock());
  ~CMainSaveThread() override;

  // Registers both storages in the global interface table, so that Run can
  // take them on its own thread. Call once, before Start. The table's failure.
  HRESULT Init();
  // Takes a reference for the running thread and starts it as "KrfMain";
  // false (reference dropped again) when the thread cannot be made.
  bool Launch();

  void AddRef();
  // Deletes the object when the count reaches zero.
  void Release();

  LONG status() const { return status_.load(std::memory_order_acquire); }
  bool SetStatus(LONG status);
  // Sets the stop flag and the status Aborting. Once the status is Ready the
  // save has ended: Abort then changes nothing (the finished file stays, the
  // status stays Ready, never a lasting Aborting).
  void Abort();

  const CSaveClock& clock() const { return clock_; }
  DWORD work_start_tick() const { return work_start_.load(std::memory_order_acquire); }
  DWORD data_start_tick() const { return data_start_.load(std::memory_order_acquire); }
  bool removable() const { return removable_; }
  DATE file_time() const { return file_time_; }
  // Whether the writer thread was started (tests).
  bool writer_started() const { return writer_.started(); }

  // Calls f(groups) under the lock: the model's groups, or null once the save
  // has finished. f may also use the time-left state.
  template <class F>
  auto WithGroups(F&& f) {
    Guard guard(this);
    return f(model_ ? &model_->groups() : nullptr, time_left_);
  }

 protected:
  void Run() override;

 private:
  struct Guard {
    explicit Guard(CMainSaveThread* t) : t(t) { EnterCriticalSection(&t->lock_); }
    ~Guard() { LeaveCriticalSection(&t->lock_); }
    CMainSaveThread* t;
  };

  std::vector<CSaveObject*> OrderGroups() const;
  void Prepare(const std::vector<CSaveObject*>& order);
  void RunPhases(const std::vector<CSaveObject*>& order);
  void RunPhase(ULONG phase, const std::vector<CSaveObject*>& order);
  // The stop flag, a failure, or a failed write.
  bool Stopping() const;
  void DrainWrites();
  void CommitRoot();
  void Finish(const std::vector<CSaveObject*>& order);

  mlr::OleString file_name_;
  ComPtr<IStorage> root_, data_;            // held for the thread's whole life
  ComPtr<IStorage> work_root_, work_data_;  // taken at the start of Run
  DWORD root_cookie_ = 0, data_cookie_ = 0;
  std::unique_ptr<CSaveModel> model_;
  const CSaveClock& clock_;
  CRITICAL_SECTION lock_;
  std::atomic<LONG> refs_{0};
  std::atomic<LONG> status_;
  bool removable_ = false;
  std::atomic<DWORD> work_start_{0}, data_start_{0};
  CTimeLeftState time_left_;
  DATE file_time_ = 0.0;
  std::vector<std::unique_ptr<CSaveThread>> workers_;
  CWriterThread writer_;
};

}  // namespace mlr::save
