#include "save/main_save_thread.h"

#include <cstdio>
#include <new>

#include "LegacyRecording.h"
#include "save/target_file.h"

namespace mlr::save {
namespace {

constexpr DWORD kPollMs = 100;
constexpr DWORD kDispatchWaitMs = 10;

ComPtr<IGlobalInterfaceTable> InterfaceTable() {
  ComPtr<IGlobalInterfaceTable> git;
  (void)CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                         IID_IGlobalInterfaceTable, git.put_void());
  return git;
}

bool TickReached(DWORD now, DWORD when) { return static_cast<LONG>(now - when) >= 0; }

}  // namespace

CMainSaveThread::CMainSaveThread(const OLECHAR* file_name, IStorage* root, IStorage* data,
                                 std::unique_ptr<CSaveModel> model, const CSaveClock& clock)
    : file_name_(file_name ? file_name : OLESTR("")),
      root_(root),
      data_(data),
      model_(std::move(model)),
      clock_(clock),
      status_(kalSRS_Initializing) {
  InitializeCriticalSection(&lock_);
  // Until Run records the real start, times count from the thread's making,
  // and the first time-left estimate is due at once.
  work_start_.store(clock_.Now(), std::memory_order_relaxed);
  time_left_.next_tick = clock_.Now();
  removable_ = IsRemovableTarget(file_name_);
}

CMainSaveThread::~CMainSaveThread() {
  // Both threads that hold references have let go; Run has ended.
  Join();
  work_root_ = nullptr;
  work_data_ = nullptr;
  root_ = nullptr;
  data_ = nullptr;
  if (!StopRequested() && error() >= 0) {
    StampTargetFile(file_name_, file_time_);
  } else {
    DeleteTargetFile(file_name_);
  }
  // Cookies still registered (a thread that never ran) are revoked.
  if (root_cookie_ || data_cookie_) {
    if (ComPtr<IGlobalInterfaceTable> git = InterfaceTable()) {
      if (root_cookie_) git->RevokeInterfaceFromGlobal(root_cookie_);
      if (data_cookie_) git->RevokeInterfaceFromGlobal(data_cookie_);
    }
  }
  writer_.RequestStop();
  writer_.Join();
  DeleteCriticalSection(&lock_);
}

HRESULT CMainSaveThread::Init() {
  ComPtr<IGlobalInterfaceTable> git = InterfaceTable();
  if (!git) return E_FAIL;
  HRESULT hr = S_OK;
  if (root_) hr = git->RegisterInterfaceInGlobal(root_.get(), IID_IStorage, &root_cookie_);
  if (SUCCEEDED(hr) && data_)
    hr = git->RegisterInterfaceInGlobal(data_.get(), IID_IStorage, &data_cookie_);
  return hr;
}

bool CMainSaveThread::Launch() {
  AddRef();
  if (Start("KrfMain")) return true;
  Release();
  return false;
}

void CMainSaveThread::AddRef() { refs_.fetch_add(1, std::memory_order_relaxed); }

void CMainSaveThread::Release() {
  if (refs_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  // The last reference may be the running thread's own (end of Run); the
  // thread then only closes its handle (CThreadBase::Join).
  delete this;
}

bool CMainSaveThread::SetStatus(LONG status) {
  LONG current = status_.load(std::memory_order_acquire);
  for (;;) {
    if ((current & static_cast<LONG>(0xF0000000)) != 0 &&
        !(current == kalSRS_Aborting && status == kalSRS_Aborted)) {
      return false;
    }
    if (status_.compare_exchange_weak(current, status, std::memory_order_acq_rel)) return true;
  }
}

void CMainSaveThread::Abort() {
  // A save that has already ended stays as it is (its file is kept, its
  // status stays Ready); otherwise the final Ready overwrites Aborting.
  LONG current = status_.load(std::memory_order_acquire);
  if (current == kalSRS_Ready) return;
  RequestStop();
  while (current != kalSRS_Ready && (current & static_cast<LONG>(0xF0000000)) == 0 &&
         !status_.compare_exchange_weak(current, kalSRS_Aborting, std::memory_order_acq_rel)) {
  }
}

std::vector<CSaveObject*> CMainSaveThread::OrderGroups() const {
  const std::vector<CSaveObject*>& groups = model_->groups();
  const ULONG recordings = model_->recording_count();
  std::vector<CSaveObject*> order;
  order.reserve(groups.size());
  for (size_t k = 0; order.size() < groups.size(); ++k) {
    for (ULONG r = 0; r < recordings; ++r) {
      size_t seen = 0;
      for (CSaveObject* g : groups) {
        if (g->source_recording() != r) continue;
        if (seen++ == k) {
          order.push_back(g);
          break;
        }
      }
    }
    if (k > groups.size()) break;  // a group whose recording index is out of range
  }
  return order;
}

void CMainSaveThread::Prepare(const std::vector<CSaveObject*>& order) {
  for (size_t i = 0; i < order.size(); ++i) {
    CSaveObject* g = order[i];
    HRESULT hr = g->CreateStorage(work_data_.get());
    if (FAILED(hr)) SetError(hr);
    g->SetWriter(&writer_);
    g->SetRemovable(removable_);
    g->SetClock(clock_);
    if (workers_.size() < static_cast<size_t>(kMaxSaveWorkers))
      workers_.push_back(std::make_unique<CSaveThread>());
    workers_[i % kMaxSaveWorkers]->AddGroup(g);
  }
  for (size_t w = 0; w < workers_.size(); ++w) {
    char name[16];
    std::snprintf(name, sizeof name, "KrfWork%d", static_cast<int>(w + 1));
    workers_[w]->Start(name);
  }
}

bool CMainSaveThread::Stopping() const {
  return StopRequested() || error() < 0 || writer_.error() < 0;
}

void CMainSaveThread::DrainWrites() {
  while (!writer_.QueueEmpty()) Sleep(kPollMs);
}

void CMainSaveThread::CommitRoot() {
  ComPtr<IStorage> root = work_root_;
  if (root) (void)root->Commit(STGC_DEFAULT);
}

void CMainSaveThread::RunPhase(ULONG phase, const std::vector<CSaveObject*>& order) {
  std::vector<HANDLE> done;
  done.reserve(workers_.size());
  for (const auto& w : workers_) done.push_back(w->done_event());
  DWORD next_commit = clock_.Now() + kSaveCommitIntervalMs;
  size_t dispatched = 0;
  for (;;) {
    if (Stopping())
      for (const auto& w : workers_) w->RequestStop();
    const bool all_dispatched = dispatched >= order.size();
    DWORD r = done.empty() ? WAIT_OBJECT_0
                           : WaitForMultipleObjects(static_cast<DWORD>(done.size()), done.data(),
                                                    all_dispatched, kDispatchWaitMs);
    if (r == WAIT_TIMEOUT) {
      if (TickReached(clock_.Now(), next_commit)) {
        CommitRoot();
        next_commit = clock_.Now() + kSaveCommitIntervalMs;
      }
      continue;
    }
    if (r == WAIT_FAILED) {
      SetError(E_FAIL);
      return;
    }
    bool over = false;
    if (!all_dispatched) {
      // The signalled event names a free worker. Once the save is stopping,
      // the remaining groups are counted as dispatched without running (a
      // stopped worker would never take them).
      const size_t w = r - WAIT_OBJECT_0;
      if (!Stopping() && w < workers_.size()) workers_[w]->Dispatch(order[dispatched], phase);
      ++dispatched;
    } else {
      over = true;
    }
    for (CSaveObject* g : order) {
      const HRESULT hr = g->error();
      SetError(hr);
      if (hr < 0) return;
    }
    // A failed write ends the save like a failed group.
    if (writer_.error() < 0) {
      SetError(writer_.error());
      return;
    }
    if (over) return;
  }
}

void CMainSaveThread::Run() {
  // The running thread's reference was taken by Launch.
  if (ComPtr<IGlobalInterfaceTable> git = InterfaceTable()) {
    if (root_cookie_) git->GetInterfaceFromGlobal(root_cookie_, IID_IStorage, work_root_.put_void());
    if (data_cookie_) git->GetInterfaceFromGlobal(data_cookie_, IID_IStorage, work_data_.put_void());
    if (root_cookie_) git->RevokeInterfaceFromGlobal(root_cookie_);
    if (data_cookie_) git->RevokeInterfaceFromGlobal(data_cookie_);
    root_cookie_ = data_cookie_ = 0;
  }
  std::vector<CSaveObject*> order;
  try {
    order = OrderGroups();
    work_start_.store(clock_.Now(), std::memory_order_release);
    DATE file_time = 0.0;
    HRESULT hr = model_->Align(&file_time);
    if (FAILED(hr)) SetError(hr);
    file_time_ = file_time;
    if (order.size() <= kWriterThreadMaxGroups) writer_.Start("KrfWrt");
    Prepare(order);
    RunPhases(order);
  } catch (const std::bad_alloc&) {
    SetError(E_OUTOFMEMORY);
  }
  Finish(order);
  SetStatus(kalSRS_Ready);
  Release();
}

void CMainSaveThread::RunPhases(const std::vector<CSaveObject*>& order) {
  for (ULONG p = kSavePhaseDescribe; p <= kSavePhaseFinish && !StopRequested() && error() >= 0;
       ++p) {
    switch (p) {
      case kSavePhaseDescribe: SetStatus(kalSRS_Initializing); break;
      case kSavePhaseInternals: SetStatus(kalSRS_SavingInternals); break;
      case kSavePhaseAllocate: SetStatus(kalSRS_AllocatingDiskSpace); break;
      case kSavePhaseData:
        data_start_.store(clock_.Now(), std::memory_order_release);
        SetStatus(kalSRS_SavingData);
        break;
      default: SetStatus(kalSRS_Closing); break;
    }
    if (Stopping()) writer_.RequestStop();
    DrainWrites();
    RunPhase(p, order);
    if (p == kSavePhaseDescribe && !Stopping()) {
      HRESULT hr = model_->Gather();
      if (FAILED(hr)) SetError(hr);
      SetStatus(kalSRS_SavingInternals);
      if (SUCCEEDED(hr)) {
        hr = model_->WriteRecording(work_root_.get(), work_data_.get());
        if (FAILED(hr)) SetError(hr);
      }
    }
    if (Stopping()) writer_.RequestStop();
    DrainWrites();
  }
}

void CMainSaveThread::Finish(const std::vector<CSaveObject*>& order) {
  for (auto& w : workers_) w->RequestStop();
  for (auto& w : workers_) w->Join();
  workers_.clear();
  writer_.RequestStop();
  writer_.Join();
  const bool failed = StopRequested() || error() < 0;
  for (CSaveObject* g : order) {
    if (failed) g->Phase(kSavePhaseCleanUp, *this);
    g->Close();
  }
  work_root_ = nullptr;
  work_data_ = nullptr;
  if (StopRequested()) {
    root_ = nullptr;
    data_ = nullptr;
  }
  std::unique_ptr<CSaveModel> model;
  {
    Guard guard(this);
    model = std::move(model_);
  }
}

}  // namespace mlr::save
