#include "save/save_threads.h"

#include <cstring>
#include <new>

namespace mlr::save {

constexpr DWORD kPollMs = 100;

// --- CThreadBase --------------------------------------------------------------

CThreadBase::~CThreadBase() { Join(); }

bool CThreadBase::Start(const char* name) {
  std::strncpy(name_, name ? name : "", sizeof name_ - 1);
  name_[sizeof name_ - 1] = '\0';
  DWORD id = 0;
  HANDLE h = CreateThread(nullptr, 0, &CThreadBase::Body, this, 0, &id);
  if (h) thread_id_.store(id, std::memory_order_release);
  if (!h) h = INVALID_HANDLE_VALUE;
  handle_ = h;
  if (started()) SetThreadPriority(handle_, THREAD_PRIORITY_HIGHEST);
  return started();
}

void CThreadBase::Join() {
  if (!started()) return;
  if (GetCurrentThreadId() != thread_id_.load(std::memory_order_acquire))
    WaitForSingleObject(handle_, INFINITE);
  CloseHandle(handle_);
  handle_ = INVALID_HANDLE_VALUE;
}

void CThreadBase::SetError(HRESULT hr) {
  HRESULT current = error_.load(std::memory_order_acquire);
  while (current >= 0 && !error_.compare_exchange_weak(current, hr, std::memory_order_acq_rel)) {
  }
}

DWORD WINAPI CThreadBase::Body(LPVOID param) {
  auto* self = static_cast<CThreadBase*>(param);
  self->thread_id_.store(GetCurrentThreadId(), std::memory_order_release);
  HRESULT init = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (self->name_[0]) {
    OLECHAR wide[sizeof self->name_];
    size_t i = 0;
    for (; self->name_[i]; ++i) wide[i] = static_cast<unsigned char>(self->name_[i]);
    wide[i] = 0;
    SetThreadDescription(GetCurrentThread(), wide);
  }
  self->Run();  // may delete the object: nothing below touches it
  if (SUCCEEDED(init)) CoUninitialize();
  return 0;
}

// --- CSaveThread ----------------------------------------------------------------

CSaveThread::CSaveThread()
    : mutex_(CreateMutexA(nullptr, FALSE, nullptr)),
      work_(CreateEventA(nullptr, FALSE, FALSE, nullptr)),
      done_(CreateEventA(nullptr, TRUE, TRUE, nullptr)) {
  if (!mutex_ || !work_ || !done_) {
    if (mutex_) CloseHandle(mutex_);
    if (work_) CloseHandle(work_);
    if (done_) CloseHandle(done_);
    throw std::bad_alloc();
  }
}

CSaveThread::~CSaveThread() {
  RequestStop();
  Join();
  CloseHandle(mutex_);
  CloseHandle(work_);
  CloseHandle(done_);
}

void CSaveThread::AddGroup(CSaveObject* group) {
  WaitForSingleObject(mutex_, INFINITE);
  try {
    groups_.push_back(group);
  } catch (...) {
    ReleaseMutex(mutex_);
    throw;
  }
  ReleaseMutex(mutex_);
}

void CSaveThread::Dispatch(CSaveObject* group, ULONG phase) {
  ResetEvent(done_);
  target_.store(group, std::memory_order_release);
  phase_.store(phase, std::memory_order_release);
  SetEvent(work_);
}

void CSaveThread::Run() {
  while (!StopRequested()) {
    if (WaitForSingleObject(work_, kPollMs) != WAIT_OBJECT_0) continue;
    const ULONG phase = phase_.load(std::memory_order_acquire);
    if (CSaveObject* target = target_.load(std::memory_order_acquire)) {
      target->Phase(phase, *this);
    } else {
      WaitForSingleObject(mutex_, INFINITE);
      std::vector<CSaveObject*> groups = groups_;
      ReleaseMutex(mutex_);
      for (CSaveObject* g : groups) g->Phase(phase, *this);
    }
    SetEvent(done_);
  }
  SetEvent(done_);
}

// --- CWriterThread -----------------------------------------------------------------

CWriterThread::CWriterThread()
    : queued_(CreateEventA(nullptr, FALSE, FALSE, nullptr)),
      space_(CreateEventA(nullptr, FALSE, FALSE, nullptr)) {
  if (!queued_ || !space_) {
    if (queued_) CloseHandle(queued_);
    if (space_) CloseHandle(space_);
    throw std::bad_alloc();
  }
  InitializeCriticalSection(&lock_);
}

CWriterThread::~CWriterThread() {
  RequestStop();
  Join();
  DeleteCriticalSection(&lock_);
  CloseHandle(queued_);
  CloseHandle(space_);
}

size_t CWriterThread::QueuedJobs() const {
  EnterCriticalSection(&lock_);
  size_t n = queue_.size();
  LeaveCriticalSection(&lock_);
  return n;
}

bool CWriterThread::QueueEmpty() const { return QueuedJobs() == 0; }

void CWriterThread::Submit(std::unique_ptr<CSaveWriteJob> job) {
  if (!job) return;
  if (!started()) {
    HRESULT hr = job->Perform();
    if (FAILED(hr)) SetError(hr);
    return;
  }
  while (QueuedJobs() > kMaxQueuedJobs) WaitForSingleObject(space_, kPollMs);
  EnterCriticalSection(&lock_);
  try {
    queue_.push_back(std::move(job));
  } catch (const std::bad_alloc&) {
    LeaveCriticalSection(&lock_);
    SetError(E_OUTOFMEMORY);
    return;
  }
  LeaveCriticalSection(&lock_);
  SetEvent(queued_);
}

void CWriterThread::Run() {
  for (;;) {
    EnterCriticalSection(&lock_);
    CSaveWriteJob* job = queue_.empty() ? nullptr : queue_.front().get();
    LeaveCriticalSection(&lock_);
    if (!job) {
      if (StopRequested()) return;
      WaitForSingleObject(queued_, kPollMs);
      continue;
    }
    // Written outside the lock; the job leaves the queue only afterwards, so
    // an empty queue means every write is done.
    HRESULT hr = job->Perform();
    if (FAILED(hr)) SetError(hr);
    std::unique_ptr<CSaveWriteJob> done;
    EnterCriticalSection(&lock_);
    done = std::move(queue_.front());
    queue_.pop_front();
    LeaveCriticalSection(&lock_);
    SetEvent(space_);
  }
}

}  // namespace mlr::save
