// Win32 file functions over POSIX: CreateFileA and friends, attributes,
// deletion, drive types, FindFirstFileA and path queries. The share mode of
// CreateFileA is accepted but not enforced (the storage engine's file seam,
// platform/file.h, does enforce sharing).
#if !defined(_WIN32)

#include "platform/drive_type.h"
#include "platform/posix/handles.h"
#include "platform/win.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace mlr {
namespace posix {
namespace {

class FileObject final : public KernelObject {
 public:
  explicit FileObject(int fd) : KernelObject(ObjectKind::kFile), fd(fd) {}
  ~FileObject() override { ::close(fd); }
  const int fd;
};

class FindObject final : public KernelObject {
 public:
  FindObject() : KernelObject(ObjectKind::kFind) {}
  std::vector<std::string> paths;  // matches, full paths
  std::vector<std::string> names;
  size_t next = 0;
};

constexpr int64_t kTicksPerSecond = 10000000;
constexpr int64_t kEpochDifference = 11644473600LL;  // seconds 1601 -> 1970

FILETIME ToFileTime(const struct timespec& ts) {
  int64_t ticks = (static_cast<int64_t>(ts.tv_sec) + kEpochDifference) * kTicksPerSecond +
                  ts.tv_nsec / 100;
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(static_cast<uint64_t>(ticks));
  ft.dwHighDateTime = static_cast<DWORD>(static_cast<uint64_t>(ticks) >> 32);
  return ft;
}

struct timespec FromFileTime(const FILETIME& ft) {
  int64_t ticks = static_cast<int64_t>((uint64_t{ft.dwHighDateTime} << 32) | ft.dwLowDateTime);
  struct timespec ts;
  ts.tv_sec = static_cast<time_t>(ticks / kTicksPerSecond - kEpochDifference);
  ts.tv_nsec = static_cast<long>(ticks % kTicksPerSecond) * 100;
  return ts;
}

// Creation time: the birth time where the file system keeps one, otherwise
// the last status change.
struct timespec BirthTime(int dirfd, const char* path, int flags, const struct stat& st) {
#ifdef STATX_BTIME
  struct statx sx;
  if (statx(dirfd, path, flags, STATX_BTIME, &sx) == 0 && (sx.stx_mask & STATX_BTIME)) {
    struct timespec ts;
    ts.tv_sec = sx.stx_btime.tv_sec;
    ts.tv_nsec = sx.stx_btime.tv_nsec;
    return ts;
  }
#else
  (void)dirfd, (void)path, (void)flags;
#endif
  return st.st_ctim;
}

const char* BaseName(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}

DWORD AttributesOf(const char* path, const struct stat& st) {
  DWORD attrs = 0;
  if (S_ISDIR(st.st_mode)) attrs |= FILE_ATTRIBUTE_DIRECTORY;
  if (!(st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH))) attrs |= FILE_ATTRIBUTE_READONLY;
  const char* base = BaseName(path);
  if (base[0] == '.' && std::strcmp(base, ".") != 0 && std::strcmp(base, "..") != 0) {
    attrs |= FILE_ATTRIBUTE_HIDDEN;
  }
  return attrs ? attrs : FILE_ATTRIBUTE_NORMAL;
}

bool FillFindData(const std::string& path, const std::string& name, WIN32_FIND_DATAA* out) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return false;
  std::memset(out, 0, sizeof *out);
  out->dwFileAttributes = AttributesOf(path.c_str(), st);
  out->ftCreationTime = ToFileTime(BirthTime(AT_FDCWD, path.c_str(), 0, st));
  out->ftLastAccessTime = ToFileTime(st.st_atim);
  out->ftLastWriteTime = ToFileTime(st.st_mtim);
  uint64_t size = S_ISDIR(st.st_mode) ? 0 : static_cast<uint64_t>(st.st_size);
  out->nFileSizeHigh = static_cast<DWORD>(size >> 32);
  out->nFileSizeLow = static_cast<DWORD>(size);
  std::snprintf(out->cFileName, sizeof out->cFileName, "%s", name.c_str());
  return true;
}

// Whether the block device holding `dev` is removable, as sysfs says.
bool IsRemovableDevice(dev_t dev) {
  char path[96];
  for (const char* suffix : {"/removable", "/../removable"}) {
    std::snprintf(path, sizeof path, "/sys/dev/block/%u:%u%s", major(dev), minor(dev), suffix);
    FILE* f = std::fopen(path, "r");
    if (!f) continue;
    int c = std::fgetc(f);
    std::fclose(f);
    return c == '1';
  }
  return false;
}

struct DriveTypeHook {
  std::mutex mutex;
  std::string root;
  UINT type = DRIVE_UNKNOWN;
};

DriveTypeHook& DriveHook() {
  static DriveTypeHook hook;
  return hook;
}

// The type the test hook gives `path`, if it names the hook's root or a path
// below it.
bool HookedDriveType(const char* path, UINT* type) {
  DriveTypeHook& hook = DriveHook();
  std::lock_guard<std::mutex> lock(hook.mutex);
  const std::string& root = hook.root;
  if (root.empty() || std::strncmp(path, root.c_str(), root.size()) != 0) return false;
  const char next = path[root.size()];
  if (next != '\0' && next != '/' && next != '\\') return false;
  *type = hook.type;
  return true;
}

}  // namespace
}  // namespace posix

void SetDriveTypeForTesting(const char* root, UINT type) {
  posix::DriveTypeHook& hook = posix::DriveHook();
  std::lock_guard<std::mutex> lock(hook.mutex);
  hook.root = root ? root : "";
  hook.type = type;
}

}  // namespace mlr

using mlr::posix::FileObject;
using mlr::posix::FindObject;
using mlr::posix::ObjectKind;
using mlr::posix::ObjectRef;
using mlr::posix::SetLastErrorFromErrno;

HANDLE CreateFileA(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD, LPSECURITY_ATTRIBUTES,
                   DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes, HANDLE) {
  if (!lpFileName) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  bool write = dwDesiredAccess & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_ATTRIBUTES);
  bool read = dwDesiredAccess & (GENERIC_READ | GENERIC_ALL);
  int flags = O_CLOEXEC;
  // Setting times needs only an open descriptor; ask for no more access than
  // the caller does, but at least read (POSIX needs one of the two).
  bool data_write = dwDesiredAccess & (GENERIC_WRITE | GENERIC_ALL);
  flags |= data_write ? (read ? O_RDWR : O_WRONLY) : O_RDONLY;
  (void)write;
  switch (dwCreationDisposition) {
    case CREATE_NEW: flags |= O_CREAT | O_EXCL; break;
    case CREATE_ALWAYS: flags |= O_CREAT | O_TRUNC; break;
    case OPEN_EXISTING: break;
    case OPEN_ALWAYS: flags |= O_CREAT; break;
    case TRUNCATE_EXISTING: flags |= O_TRUNC; break;
    default:
      SetLastError(ERROR_INVALID_PARAMETER);
      return INVALID_HANDLE_VALUE;
  }
  if ((flags & O_TRUNC) && !data_write) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  bool existed = false;
  if (dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == OPEN_ALWAYS) {
    existed = access(lpFileName, F_OK) == 0;
  }
  mode_t mode = (dwFlagsAndAttributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;
  int fd = ::open(lpFileName, flags, mode);
  if (fd < 0) {
    SetLastErrorFromErrno(errno);
    return INVALID_HANDLE_VALUE;
  }
  struct stat st;
  if (fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
    ::close(fd);
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  auto* object = new (std::nothrow) FileObject(fd);
  if (!object) {
    ::close(fd);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
  }
  HANDLE h = mlr::posix::Register(object);
  if (!h) return INVALID_HANDLE_VALUE;
  SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return h;
}

BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
              LPDWORD lpNumberOfBytesRead, LPOVERLAPPED lpOverlapped) {
  if (lpNumberOfBytesRead) *lpNumberOfBytesRead = 0;
  ObjectRef<FileObject> f(hFile, ObjectKind::kFile);
  if (!f) return FALSE;
  if (lpOverlapped || (!lpBuffer && nNumberOfBytesToRead)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  DWORD total = 0;
  auto* p = static_cast<char*>(lpBuffer);
  while (total < nNumberOfBytesToRead) {
    ssize_t n = ::read(f->fd, p + total, nNumberOfBytesToRead - total);
    if (n < 0) {
      if (errno == EINTR) continue;
      SetLastErrorFromErrno(errno);
      if (lpNumberOfBytesRead) *lpNumberOfBytesRead = total;
      return FALSE;
    }
    if (n == 0) break;
    total += static_cast<DWORD>(n);
  }
  if (lpNumberOfBytesRead) *lpNumberOfBytesRead = total;
  return TRUE;
}

BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
               LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped) {
  if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = 0;
  ObjectRef<FileObject> f(hFile, ObjectKind::kFile);
  if (!f) return FALSE;
  if (lpOverlapped || (!lpBuffer && nNumberOfBytesToWrite)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  DWORD total = 0;
  const auto* p = static_cast<const char*>(lpBuffer);
  while (total < nNumberOfBytesToWrite) {
    ssize_t n = ::write(f->fd, p + total, nNumberOfBytesToWrite - total);
    if (n < 0) {
      if (errno == EINTR) continue;
      SetLastErrorFromErrno(errno);
      if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = total;
      return FALSE;
    }
    total += static_cast<DWORD>(n);
  }
  if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = total;
  return TRUE;
}

BOOL SetFilePointerEx(HANDLE hFile, LARGE_INTEGER liDistanceToMove,
                      PLARGE_INTEGER lpNewFilePointer, DWORD dwMoveMethod) {
  ObjectRef<FileObject> f(hFile, ObjectKind::kFile);
  if (!f) return FALSE;
  int whence = dwMoveMethod == FILE_BEGIN ? SEEK_SET
               : dwMoveMethod == FILE_CURRENT ? SEEK_CUR
               : dwMoveMethod == FILE_END ? SEEK_END : -1;
  if (whence < 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  off_t pos = ::lseek(f->fd, static_cast<off_t>(liDistanceToMove.QuadPart), whence);
  if (pos < 0) {
    SetLastError(errno == EINVAL ? ERROR_NEGATIVE_SEEK : mlr::posix::ErrorFromErrno(errno));
    return FALSE;
  }
  if (lpNewFilePointer) lpNewFilePointer->QuadPart = pos;
  return TRUE;
}

BOOL SetEndOfFile(HANDLE hFile) {
  ObjectRef<FileObject> f(hFile, ObjectKind::kFile);
  if (!f) return FALSE;
  off_t pos = ::lseek(f->fd, 0, SEEK_CUR);
  if (pos < 0 || ::ftruncate(f->fd, pos) != 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  return TRUE;
}

BOOL FlushFileBuffers(HANDLE hFile) {
  ObjectRef<FileObject> f(hFile, ObjectKind::kFile);
  if (!f) return FALSE;
  if (::fsync(f->fd) != 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  return TRUE;
}

BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize) {
  ObjectRef<FileObject> f(hFile, ObjectKind::kFile);
  if (!f) return FALSE;
  struct stat st;
  if (!lpFileSize || fstat(f->fd, &st) != 0) {
    SetLastError(lpFileSize ? mlr::posix::ErrorFromErrno(errno) : ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  lpFileSize->QuadPart = st.st_size;
  return TRUE;
}

DWORD GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh) {
  LARGE_INTEGER size;
  if (!GetFileSizeEx(hFile, &size)) return INVALID_FILE_SIZE;
  if (lpFileSizeHigh) *lpFileSizeHigh = static_cast<DWORD>(size.QuadPart >> 32);
  SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(size.QuadPart);
}

BOOL GetFileTime(HANDLE hFile, LPFILETIME lpCreationTime, LPFILETIME lpLastAccessTime,
                 LPFILETIME lpLastWriteTime) {
  ObjectRef<FileObject> f(hFile, ObjectKind::kFile);
  if (!f) return FALSE;
  struct stat st;
  if (fstat(f->fd, &st) != 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  if (lpCreationTime) {
    *lpCreationTime = mlr::posix::ToFileTime(
        mlr::posix::BirthTime(f->fd, "", AT_EMPTY_PATH, st));
  }
  if (lpLastAccessTime) *lpLastAccessTime = mlr::posix::ToFileTime(st.st_atim);
  if (lpLastWriteTime) *lpLastWriteTime = mlr::posix::ToFileTime(st.st_mtim);
  return TRUE;
}

BOOL SetFileTime(HANDLE hFile, const FILETIME* lpCreationTime, const FILETIME* lpLastAccessTime,
                 const FILETIME* lpLastWriteTime) {
  ObjectRef<FileObject> f(hFile, ObjectKind::kFile);
  if (!f) return FALSE;
  (void)lpCreationTime;  // POSIX file systems cannot set a birth time
  struct timespec times[2];
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_nsec = UTIME_OMIT;
  if (lpLastAccessTime) times[0] = mlr::posix::FromFileTime(*lpLastAccessTime);
  if (lpLastWriteTime) times[1] = mlr::posix::FromFileTime(*lpLastWriteTime);
  if (::futimens(f->fd, times) != 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  return TRUE;
}

BOOL DeleteFileA(LPCSTR lpFileName) {
  if (!lpFileName) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  struct stat st;
  if (lstat(lpFileName, &st) == 0 && S_ISDIR(st.st_mode)) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  if (::unlink(lpFileName) != 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  return TRUE;
}

DWORD GetFileAttributesA(LPCSTR lpFileName) {
  struct stat st;
  if (!lpFileName || stat(lpFileName, &st) != 0) {
    SetLastErrorFromErrno(lpFileName ? errno : EINVAL);
    return INVALID_FILE_ATTRIBUTES;
  }
  return mlr::posix::AttributesOf(lpFileName, st);
}

BOOL SetFileAttributesA(LPCSTR lpFileName, DWORD dwFileAttributes) {
  struct stat st;
  if (!lpFileName || stat(lpFileName, &st) != 0) {
    SetLastErrorFromErrno(lpFileName ? errno : EINVAL);
    return FALSE;
  }
  mode_t mode = st.st_mode & 07777;
  if (dwFileAttributes & FILE_ATTRIBUTE_READONLY) {
    mode &= ~static_cast<mode_t>(S_IWUSR | S_IWGRP | S_IWOTH);
  } else if (!(mode & (S_IWUSR | S_IWGRP | S_IWOTH))) {
    mode |= S_IWUSR;
  }
  if (mode != (st.st_mode & 07777) && ::chmod(lpFileName, mode) != 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  return TRUE;
}

UINT GetDriveTypeA(LPCSTR lpRootPathName) {
  UINT hooked;
  if (lpRootPathName && mlr::posix::HookedDriveType(lpRootPathName, &hooked)) return hooked;
  std::string path = ".";
  if (lpRootPathName && lpRootPathName[0]) {
    path = lpRootPathName;
    // A drive ("E:", "E:\") names no POSIX path: use the current directory.
    bool drive = path.size() >= 2 && path[1] == ':' &&
                 (path.size() == 2 || (path.size() == 3 && (path[2] == '\\' || path[2] == '/')));
    if (drive) path = ".";
  }
  struct statfs fs;
  struct stat st;
  if (statfs(path.c_str(), &fs) != 0 || stat(path.c_str(), &st) != 0) return DRIVE_NO_ROOT_DIR;
  switch (static_cast<unsigned long>(fs.f_type)) {
    case 0x6969:      // NFS
    case 0x517B:      // SMB
    case 0xFF534D42:  // CIFS
    case 0xFE534D42:  // SMB2
    case 0x65735546:  // FUSE (sshfs and the like)
      return DRIVE_REMOTE;
    case 0x01021994:  // tmpfs
    case 0x858458F6:  // ramfs
      return DRIVE_RAMDISK;
    case 0x9660:      // ISO 9660
    case 0x15013346:  // UDF
      return DRIVE_CDROM;
    default:
      break;
  }
  return mlr::posix::IsRemovableDevice(st.st_dev) ? DRIVE_REMOVABLE : DRIVE_FIXED;
}

HANDLE FindFirstFileA(LPCSTR lpFileName, LPWIN32_FIND_DATAA lpFindFileData) {
  if (!lpFileName || !lpFindFileData) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  auto* find = new (std::nothrow) FindObject;
  if (!find) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
  }
  try {
    std::string spec = lpFileName;
    size_t slash = spec.rfind('/');
    std::string dir = slash == std::string::npos ? "." : spec.substr(0, slash == 0 ? 1 : slash);
    std::string pattern = slash == std::string::npos ? spec : spec.substr(slash + 1);
    std::string prefix = slash == std::string::npos ? "" : spec.substr(0, slash + 1);
    if (pattern.find_first_of("*?") == std::string::npos) {
      struct stat st;
      if (stat(spec.c_str(), &st) == 0) {
        find->paths.push_back(spec);
        find->names.push_back(pattern);
      }
    } else if (DIR* d = opendir(dir.c_str())) {
      while (struct dirent* e = readdir(d)) {
        if (fnmatch(pattern.c_str(), e->d_name, 0) == 0) {
          find->paths.push_back(prefix + e->d_name);
          find->names.push_back(e->d_name);
        }
      }
      closedir(d);
    }
  } catch (const std::bad_alloc&) {
    find->Release();
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
  }
  while (find->next < find->paths.size()) {
    size_t i = find->next++;
    if (mlr::posix::FillFindData(find->paths[i], find->names[i], lpFindFileData)) {
      HANDLE h = mlr::posix::Register(find);
      return h ? h : INVALID_HANDLE_VALUE;
    }
  }
  find->Release();
  SetLastError(ERROR_FILE_NOT_FOUND);
  return INVALID_HANDLE_VALUE;
}

BOOL FindNextFileA(HANDLE hFindFile, LPWIN32_FIND_DATAA lpFindFileData) {
  ObjectRef<FindObject> find(hFindFile, ObjectKind::kFind);
  if (!find) return FALSE;
  if (!lpFindFileData) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  while (find->next < find->paths.size()) {
    size_t i = find->next++;
    if (mlr::posix::FillFindData(find->paths[i], find->names[i], lpFindFileData)) return TRUE;
  }
  SetLastError(ERROR_NO_MORE_FILES);
  return FALSE;
}

BOOL FindClose(HANDLE hFindFile) {
  ObjectRef<FindObject> find(hFindFile, ObjectKind::kFind);
  if (!find) return FALSE;
  return mlr::posix::Unregister(hFindFile) ? TRUE : FALSE;
}

static DWORD CopyOut(const std::string& s, LPSTR buffer, DWORD size) {
  if (s.size() + 1 > size) return static_cast<DWORD>(s.size() + 1);
  std::memcpy(buffer, s.c_str(), s.size() + 1);
  return static_cast<DWORD>(s.size());
}

DWORD GetLongPathNameA(LPCSTR lpszShortPath, LPSTR lpszLongPath, DWORD cchBuffer) {
  if (!lpszShortPath || (!lpszLongPath && cchBuffer)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  char* resolved = realpath(lpszShortPath, nullptr);
  if (!resolved) {
    SetLastErrorFromErrno(errno);
    return 0;
  }
  std::string s;
  try {
    s = resolved;
  } catch (const std::bad_alloc&) {
    std::free(resolved);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  std::free(resolved);
  return CopyOut(s, lpszLongPath, cchBuffer);
}

DWORD GetFullPathNameA(LPCSTR lpFileName, DWORD nBufferLength, LPSTR lpBuffer,
                       LPSTR* lpFilePart) {
  if (!lpFileName || (!lpBuffer && nBufferLength)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  std::string s;
  try {
    if (lpFileName[0] == '/') {
      s = lpFileName;
    } else {
      char cwd[PATH_MAX];
      if (!getcwd(cwd, sizeof cwd)) {
        SetLastErrorFromErrno(errno);
        return 0;
      }
      s = std::string(cwd) + "/" + lpFileName;
    }
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  DWORD n = CopyOut(s, lpBuffer, nBufferLength);
  if (lpFilePart && n < nBufferLength) {
    char* slash = std::strrchr(lpBuffer, '/');
    *lpFilePart = slash && slash[1] ? slash + 1 : nullptr;
  }
  return n;
}

DWORD GetTempPathA(DWORD nBufferLength, LPSTR lpBuffer) {
  const char* dir = std::getenv("TMPDIR");
  std::string s = dir && dir[0] ? dir : "/tmp";
  if (s.back() != '/') s += '/';
  return CopyOut(s, lpBuffer, nBufferLength);
}

#endif  // !_WIN32
