// Threads, events, mutexes, waits, critical sections and Sleep.
//
// All waitable objects (events, mutexes, threads) share one lock and one
// condition variable: a wait examines its objects under the lock and sleeps
// on the condition variable until any object changes. This keeps
// WaitForMultipleObjects with bWaitAll atomic (all objects are taken
// together or none) at the cost of spurious wake-ups, which are harmless at
// the number of waits this library makes. Mutexes are recursive and owned by
// a thread; a mutex whose owner ends is not detected as abandoned.
#if !defined(_WIN32)

#include "platform/posix/handles.h"
#include "platform/strings.h"
#include "platform/win.h"

#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <initializer_list>
#include <condition_variable>
#include <mutex>
#include <new>
#include <string>

namespace mlr {
namespace posix {
namespace {

std::mutex& WaitMutex() {
  static std::mutex* m = new std::mutex;
  return *m;
}
std::condition_variable& WaitCv() {
  static std::condition_variable* cv = new std::condition_variable;
  return *cv;
}

DWORD CurrentThreadId() {
  thread_local DWORD id = static_cast<DWORD>(syscall(SYS_gettid));
  return id;
}

class Waitable : public KernelObject {
 public:
  using KernelObject::KernelObject;
  // Both called with WaitMutex() held.
  virtual bool Signaled(DWORD tid) const = 0;
  virtual void Acquire(DWORD tid) = 0;
};

class Event final : public Waitable {
 public:
  Event(bool manual, bool initial) : Waitable(ObjectKind::kEvent), manual_(manual), signaled_(initial) {}
  bool Signaled(DWORD) const override { return signaled_; }
  void Acquire(DWORD) override {
    if (!manual_) signaled_ = false;
  }
  void Set(bool on) { signaled_ = on; }

 private:
  bool manual_;
  bool signaled_;
};

class Mutex final : public Waitable {
 public:
  Mutex() : Waitable(ObjectKind::kMutex) {}
  bool Signaled(DWORD tid) const override { return owner_ == 0 || owner_ == tid; }
  void Acquire(DWORD tid) override {
    owner_ = tid;
    ++count_;
  }
  bool ReleaseBy(DWORD tid) {
    if (owner_ != tid || count_ == 0) return false;
    if (--count_ == 0) owner_ = 0;
    return true;
  }

 private:
  DWORD owner_ = 0;
  unsigned count_ = 0;
};

class Thread final : public Waitable {
 public:
  Thread(LPTHREAD_START_ROUTINE start, LPVOID param, bool suspended)
      : Waitable(ObjectKind::kThread), start_(start), param_(param), suspended_(suspended) {}
  bool Signaled(DWORD) const override { return done_; }
  void Acquire(DWORD) override {}

  static void* Main(void* arg) {
    auto* self = static_cast<Thread*>(arg);
    {
      std::unique_lock<std::mutex> lock(WaitMutex());
      self->tid_ = CurrentThreadId();
      WaitCv().notify_all();
      WaitCv().wait(lock, [self] { return !self->suspended_; });
    }
    DWORD code = self->start_(self->param_);
    {
      std::lock_guard<std::mutex> lock(WaitMutex());
      self->exit_code_ = code;
      self->done_ = true;
    }
    WaitCv().notify_all();
    self->Release();  // the running thread's reference
    return nullptr;
  }

  LPTHREAD_START_ROUTINE start_;
  LPVOID param_;
  bool suspended_;             // guarded by WaitMutex()
  bool done_ = false;          // guarded by WaitMutex()
  DWORD exit_code_ = STILL_ACTIVE;
  DWORD tid_ = 0;
  pthread_t pthread_{};
  std::atomic<int> priority_{THREAD_PRIORITY_NORMAL};
};

// Waits on objects[0..n) (already referenced) as WaitForMultipleObjects.
DWORD WaitOn(Waitable* const* objects, DWORD n, bool all, DWORD ms) {
  DWORD tid = CurrentThreadId();
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  std::unique_lock<std::mutex> lock(WaitMutex());
  for (;;) {
    if (all) {
      bool ready = true;
      for (DWORD i = 0; i < n && ready; ++i) ready = objects[i]->Signaled(tid);
      if (ready) {
        for (DWORD i = 0; i < n; ++i) objects[i]->Acquire(tid);
        return WAIT_OBJECT_0;
      }
    } else {
      for (DWORD i = 0; i < n; ++i) {
        if (objects[i]->Signaled(tid)) {
          objects[i]->Acquire(tid);
          return WAIT_OBJECT_0 + i;
        }
      }
    }
    if (ms == 0) return WAIT_TIMEOUT;
    if (ms == INFINITE) {
      WaitCv().wait(lock);
    } else if (WaitCv().wait_until(lock, deadline) == std::cv_status::timeout) {
      // One last look: an object may have been signalled at the deadline.
      ms = 0;
    }
  }
}

Waitable* LookupWaitable(HANDLE h) {
  for (ObjectKind kind : {ObjectKind::kEvent, ObjectKind::kMutex, ObjectKind::kThread}) {
    if (KernelObject* o = Lookup(h, kind)) return static_cast<Waitable*>(o);
  }
  return nullptr;
}

const HANDLE kCurrentThread = reinterpret_cast<HANDLE>(static_cast<intptr_t>(-2));
thread_local int t_priority = THREAD_PRIORITY_NORMAL;

}  // namespace
}  // namespace posix
}  // namespace mlr

using mlr::posix::Event;
using mlr::posix::Mutex;
using mlr::posix::ObjectKind;
using mlr::posix::ObjectRef;
using mlr::posix::Thread;
using mlr::posix::WaitCv;
using mlr::posix::WaitMutex;

HANDLE CreateEventA(LPSECURITY_ATTRIBUTES, BOOL bManualReset, BOOL bInitialState, LPCSTR) {
  auto* e = new (std::nothrow) Event(bManualReset != FALSE, bInitialState != FALSE);
  if (!e) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  return mlr::posix::Register(e);
}

static BOOL SetEventState(HANDLE hEvent, bool on) {
  ObjectRef<Event> e(hEvent, ObjectKind::kEvent);
  if (!e) return FALSE;
  {
    std::lock_guard<std::mutex> lock(WaitMutex());
    e->Set(on);
  }
  if (on) WaitCv().notify_all();
  return TRUE;
}

BOOL SetEvent(HANDLE hEvent) { return SetEventState(hEvent, true); }

BOOL ResetEvent(HANDLE hEvent) { return SetEventState(hEvent, false); }

HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES, BOOL bInitialOwner, LPCSTR) {
  auto* m = new (std::nothrow) Mutex;
  if (!m) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  if (bInitialOwner) {
    std::lock_guard<std::mutex> lock(WaitMutex());
    m->Acquire(mlr::posix::CurrentThreadId());
  }
  return mlr::posix::Register(m);
}

BOOL ReleaseMutex(HANDLE hMutex) {
  ObjectRef<Mutex> m(hMutex, ObjectKind::kMutex);
  if (!m) return FALSE;
  bool ok;
  {
    std::lock_guard<std::mutex> lock(WaitMutex());
    ok = m->ReleaseBy(mlr::posix::CurrentThreadId());
  }
  if (!ok) {
    SetLastError(ERROR_NOT_OWNER);
    return FALSE;
  }
  WaitCv().notify_all();
  return TRUE;
}

DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
                             DWORD dwMilliseconds) {
  if (nCount == 0 || nCount > MAXIMUM_WAIT_OBJECTS || !lpHandles) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  mlr::posix::Waitable* objects[MAXIMUM_WAIT_OBJECTS];
  DWORD found = 0;
  for (; found < nCount; ++found) {
    objects[found] = mlr::posix::LookupWaitable(lpHandles[found]);
    if (!objects[found]) break;
  }
  DWORD result;
  if (found < nCount) {
    SetLastError(ERROR_INVALID_HANDLE);
    result = WAIT_FAILED;
  } else {
    result = mlr::posix::WaitOn(objects, nCount, bWaitAll != FALSE, dwMilliseconds);
  }
  for (DWORD i = 0; i < found; ++i) objects[i]->Release();
  return result;
}

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
  return WaitForMultipleObjects(1, &hHandle, FALSE, dwMilliseconds);
}

HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T dwStackSize,
                    LPTHREAD_START_ROUTINE lpStartAddress, LPVOID lpParameter,
                    DWORD dwCreationFlags, LPDWORD lpThreadId) {
  if (!lpStartAddress) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto* t = new (std::nothrow)
      Thread(lpStartAddress, lpParameter, (dwCreationFlags & CREATE_SUSPENDED) != 0);
  if (!t) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  t->AddRef();  // the running thread's reference
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  if (dwStackSize) {
    size_t min = static_cast<size_t>(PTHREAD_STACK_MIN);
    size_t size = dwStackSize < min ? min : dwStackSize;
    pthread_attr_setstacksize(&attr, size);
  }
  int err = pthread_create(&t->pthread_, &attr, &Thread::Main, t);
  pthread_attr_destroy(&attr);
  if (err) {
    t->Release();
    t->Release();
    mlr::posix::SetLastErrorFromErrno(err);
    return nullptr;
  }
  {
    std::unique_lock<std::mutex> lock(WaitMutex());
    WaitCv().wait(lock, [t] { return t->tid_ != 0; });
  }
  if (lpThreadId) *lpThreadId = t->tid_;
  return mlr::posix::Register(t);
}

DWORD ResumeThread(HANDLE hThread) {
  ObjectRef<Thread> t(hThread, ObjectKind::kThread);
  if (!t) return static_cast<DWORD>(-1);
  DWORD previous;
  {
    std::lock_guard<std::mutex> lock(WaitMutex());
    previous = t->suspended_ ? 1 : 0;
    t->suspended_ = false;
  }
  WaitCv().notify_all();
  return previous;
}

BOOL GetExitCodeThread(HANDLE hThread, LPDWORD lpExitCode) {
  ObjectRef<Thread> t(hThread, ObjectKind::kThread);
  if (!t || !lpExitCode) return FALSE;
  std::lock_guard<std::mutex> lock(WaitMutex());
  *lpExitCode = t->exit_code_;
  return TRUE;
}

DWORD GetCurrentThreadId(void) { return mlr::posix::CurrentThreadId(); }

DWORD GetCurrentProcessId(void) { return static_cast<DWORD>(getpid()); }

HANDLE GetCurrentThread(void) { return mlr::posix::kCurrentThread; }

BOOL SetThreadPriority(HANDLE hThread, int nPriority) {
  if (nPriority < THREAD_PRIORITY_IDLE || nPriority > THREAD_PRIORITY_TIME_CRITICAL) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  if (hThread == mlr::posix::kCurrentThread) {
    mlr::posix::t_priority = nPriority;
    return TRUE;
  }
  ObjectRef<Thread> t(hThread, ObjectKind::kThread);
  if (!t) return FALSE;
  t->priority_ = nPriority;
  return TRUE;
}

int GetThreadPriority(HANDLE hThread) {
  if (hThread == mlr::posix::kCurrentThread) return mlr::posix::t_priority;
  ObjectRef<Thread> t(hThread, ObjectKind::kThread);
  if (!t) return THREAD_PRIORITY_ERROR_RETURN;
  return t->priority_;
}

HRESULT SetThreadDescription(HANDLE hThread, PCWSTR lpThreadDescription) {
  if (!lpThreadDescription) return E_INVALIDARG;
  std::string name;
  try {
    name = mlr::ToUtf8(lpThreadDescription);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  // The kernel keeps 15 bytes; cut on a character boundary.
  if (name.size() > 15) {
    size_t cut = 15;
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;
    name.resize(cut);
  }
  if (hThread == mlr::posix::kCurrentThread) {
    return pthread_setname_np(pthread_self(), name.c_str()) == 0 ? S_OK : E_FAIL;
  }
  ObjectRef<Thread> t(hThread, ObjectKind::kThread);
  if (!t) return E_HANDLE;
  std::lock_guard<std::mutex> lock(WaitMutex());
  if (t->done_) return S_OK;  // nothing left to name
  return pthread_setname_np(t->pthread_, name.c_str()) == 0 ? S_OK : E_FAIL;
}

void Sleep(DWORD dwMilliseconds) {
  if (dwMilliseconds == 0) {
    sched_yield();
    return;
  }
  struct timespec ts;
  ts.tv_sec = dwMilliseconds / 1000;
  ts.tv_nsec = static_cast<long>(dwMilliseconds % 1000) * 1000000L;
  while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
  }
}

// ---- critical sections ------------------------------------------------------------

static_assert(sizeof(pthread_mutex_t) <= sizeof(CRITICAL_SECTION::Opaque),
              "CRITICAL_SECTION too small for pthread_mutex_t");
static_assert(alignof(pthread_mutex_t) <= 16, "CRITICAL_SECTION alignment too small");

static pthread_mutex_t* AsMutex(LPCRITICAL_SECTION cs) {
  return reinterpret_cast<pthread_mutex_t*>(cs->Opaque);
}

void InitializeCriticalSection(LPCRITICAL_SECTION lpCriticalSection) {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(new (lpCriticalSection->Opaque) pthread_mutex_t, &attr);
  pthread_mutexattr_destroy(&attr);
}

BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION lpCriticalSection, DWORD) {
  InitializeCriticalSection(lpCriticalSection);
  return TRUE;
}

void DeleteCriticalSection(LPCRITICAL_SECTION lpCriticalSection) {
  pthread_mutex_destroy(AsMutex(lpCriticalSection));
}

void EnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection) {
  pthread_mutex_lock(AsMutex(lpCriticalSection));
}

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection) {
  return pthread_mutex_trylock(AsMutex(lpCriticalSection)) == 0 ? TRUE : FALSE;
}

void LeaveCriticalSection(LPCRITICAL_SECTION lpCriticalSection) {
  pthread_mutex_unlock(AsMutex(lpCriticalSection));
}

#endif  // !_WIN32
