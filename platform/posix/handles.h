// Kernel objects behind HANDLEs (POSIX build, internal to platform/posix).
//
// Every handle points at a KernelObject registered in a process-wide table;
// lookups validate the pointer against the table and take a reference, so a
// handle closed on another thread cannot be freed under a caller. Objects
// are reference counted: the handle holds one reference, a running thread
// holds one on its own object.
#pragma once

#include "platform/win.h"

#include <atomic>

namespace mlr {
namespace posix {

enum class ObjectKind { kFile, kFind, kEvent, kMutex, kThread, kRegistryKey };

class KernelObject {
 public:
  explicit KernelObject(ObjectKind kind) : kind_(kind) {}
  virtual ~KernelObject() = default;
  ObjectKind kind() const { return kind_; }
  void AddRef() { refs_.fetch_add(1, std::memory_order_relaxed); }
  void Release() {
    if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 private:
  ObjectKind kind_;
  std::atomic<int> refs_{1};
};

// Registers a new object (holding its first reference) and returns its
// handle.
HANDLE Register(KernelObject* object);
// The object of `handle` if it is live and of `kind`, with a reference added
// (the caller releases it); null otherwise (ERROR_INVALID_HANDLE set).
KernelObject* Lookup(HANDLE handle, ObjectKind kind);
// Removes the handle from the table and drops the handle's reference.
bool Unregister(HANDLE handle);

// Maps errno to a Win32 error code.
DWORD ErrorFromErrno(int err);
// SetLastError(ErrorFromErrno(err)).
void SetLastErrorFromErrno(int err);

template <class T>
class ObjectRef {
 public:
  ObjectRef(HANDLE handle, ObjectKind kind)
      : object_(static_cast<T*>(Lookup(handle, kind))) {}
  ~ObjectRef() {
    if (object_) object_->Release();
  }
  ObjectRef(const ObjectRef&) = delete;
  ObjectRef& operator=(const ObjectRef&) = delete;
  T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_;
};

}  // namespace posix
}  // namespace mlr
