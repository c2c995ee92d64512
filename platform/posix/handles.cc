#if !defined(_WIN32)

#include "platform/posix/handles.h"

#include <cerrno>
#include <mutex>
#include <new>
#include <unordered_set>

namespace mlr {
namespace posix {
namespace {

struct HandleTable {
  std::mutex mutex;
  std::unordered_set<KernelObject*> live;
};

HandleTable& Table() {
  static HandleTable* table = new HandleTable;  // used until exit
  return *table;
}

thread_local DWORD t_last_error = 0;

}  // namespace

HANDLE Register(KernelObject* object) {
  HandleTable& t = Table();
  try {
    std::lock_guard<std::mutex> lock(t.mutex);
    t.live.insert(object);
  } catch (const std::bad_alloc&) {
    object->Release();
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  return static_cast<HANDLE>(object);
}

KernelObject* Lookup(HANDLE handle, ObjectKind kind) {
  HandleTable& t = Table();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto* object = static_cast<KernelObject*>(handle);
  auto it = t.live.find(object);
  if (it == t.live.end() || object->kind() != kind) {
    t_last_error = ERROR_INVALID_HANDLE;
    return nullptr;
  }
  object->AddRef();
  return object;
}

bool Unregister(HANDLE handle) {
  HandleTable& t = Table();
  auto* object = static_cast<KernelObject*>(handle);
  {
    std::lock_guard<std::mutex> lock(t.mutex);
    if (!t.live.erase(object)) {
      t_last_error = ERROR_INVALID_HANDLE;
      return false;
    }
  }
  object->Release();
  return true;
}

DWORD ErrorFromErrno(int err) {
  switch (err) {
    case 0: return ERROR_SUCCESS;
    case ENOENT: return ERROR_FILE_NOT_FOUND;
    case ENOTDIR: return ERROR_PATH_NOT_FOUND;
    case EACCES: case EPERM: case EROFS: case EISDIR: return ERROR_ACCESS_DENIED;
    case EEXIST: return ERROR_FILE_EXISTS;
    case EMFILE: case ENFILE: return ERROR_TOO_MANY_OPEN_FILES;
    case ENOSPC: case EDQUOT: case EFBIG: return ERROR_DISK_FULL;
    case ENAMETOOLONG: return ERROR_FILENAME_EXCED_RANGE;
    case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    case EBUSY: case ETXTBSY: return ERROR_SHARING_VIOLATION;
    case EAGAIN: return ERROR_LOCK_VIOLATION;
    case EBADF: return ERROR_INVALID_HANDLE;
    case EINVAL: return ERROR_INVALID_PARAMETER;
    case ENOTEMPTY: return ERROR_DIR_NOT_EMPTY;
    case EIO: return ERROR_GEN_FAILURE;
    default: return ERROR_GEN_FAILURE;
  }
}

void SetLastErrorFromErrno(int err) { t_last_error = ErrorFromErrno(err); }

}  // namespace posix
}  // namespace mlr

DWORD GetLastError(void) { return mlr::posix::t_last_error; }

void SetLastError(DWORD dwErrCode) { mlr::posix::t_last_error = dwErrCode; }

BOOL CloseHandle(HANDLE hObject) {
  if (!hObject || hObject == INVALID_HANDLE_VALUE) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return mlr::posix::Unregister(hObject) ? TRUE : FALSE;
}

#endif  // !_WIN32
