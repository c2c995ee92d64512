// POSIX and in-memory implementations of the file seam (platform/file.h).
//
// A file opened for reading only never writes and never changes a file time:
// it is opened with O_NOATIME where the kernel allows it (the owner's files),
// and WriteAt/SetSize/Flush fail with STG_E_ACCESSDENIED without reaching the
// operating system. Sharing uses flock(2) locks, which conflict between two
// opens of one file in the same process as well as across processes.
#include "platform/file.h"
#include "platform/file_faults.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mlr {
namespace {

HRESULT FromErrno(int e, HRESULT otherwise) {
  switch (e) {
    case ENOENT: return STG_E_FILENOTFOUND;
    case ENOTDIR: return STG_E_PATHNOTFOUND;
    case EACCES:
    case EPERM:
    case EROFS:
    case ETXTBSY:
    case EISDIR: return STG_E_ACCESSDENIED;
    case EEXIST: return STG_E_FILEALREADYEXISTS;
    case EWOULDBLOCK: return STG_E_SHAREVIOLATION;
    case EMFILE:
    case ENFILE: return STG_E_TOOMANYOPENFILES;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return STG_E_MEDIUMFULL;
    case ENOMEM: return STG_E_INSUFFICIENTMEMORY;
    case EINVAL:
    case EOVERFLOW: return STG_E_INVALIDPARAMETER;
    default: return otherwise;
  }
}

bool FitsOffT(uint64_t offset, size_t n) {
  const uint64_t max = static_cast<uint64_t>(std::numeric_limits<off_t>::max());
  return offset <= max && n <= max - offset;
}

class PosixFile final : public File {
 public:
  PosixFile(int fd, bool writable) : fd_(fd), writable_(writable) {}
  ~PosixFile() override { ::close(fd_); }

  HRESULT ReadAt(uint64_t offset, void* buffer, size_t size, size_t* read) override {
    *read = 0;
    if (!FitsOffT(offset, size)) return STG_E_INVALIDPARAMETER;
    auto* p = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < size) {
      ssize_t r = ::pread(fd_, p + done, size - done, static_cast<off_t>(offset + done));
      if (r < 0) {
        if (errno == EINTR) continue;
        *read = done;
        return FromErrno(errno, STG_E_READFAULT);
      }
      if (r == 0) break;
      done += static_cast<size_t>(r);
    }
    *read = done;
    return S_OK;
  }

  HRESULT WriteAt(uint64_t offset, const void* buffer, size_t size) override {
    if (!writable_) return STG_E_ACCESSDENIED;
    if (!FitsOffT(offset, size)) return STG_E_MEDIUMFULL;
    const auto* p = static_cast<const char*>(buffer);
    size_t done = 0;
    while (done < size) {
      ssize_t r = ::pwrite(fd_, p + done, size - done, static_cast<off_t>(offset + done));
      if (r < 0) {
        if (errno == EINTR) continue;
        return FromErrno(errno, STG_E_WRITEFAULT);
      }
      if (r == 0) return STG_E_MEDIUMFULL;
      done += static_cast<size_t>(r);
    }
    return S_OK;
  }

  HRESULT GetSize(uint64_t* size) override {
    struct stat st;
    if (::fstat(fd_, &st) != 0) return FromErrno(errno, STG_E_READFAULT);
    *size = static_cast<uint64_t>(st.st_size);
    return S_OK;
  }

  HRESULT SetSize(uint64_t size) override {
    if (!writable_) return STG_E_ACCESSDENIED;
    if (!FitsOffT(size, 0)) return STG_E_MEDIUMFULL;
    while (::ftruncate(fd_, static_cast<off_t>(size)) != 0)
      if (errno != EINTR) return FromErrno(errno, STG_E_WRITEFAULT);
    return S_OK;
  }

  HRESULT Flush() override {
    if (!writable_) return STG_E_ACCESSDENIED;
    if (::fdatasync(fd_) != 0) return FromErrno(errno, STG_E_WRITEFAULT);
    return S_OK;
  }

  bool Writable() const override { return writable_; }

 private:
  int fd_;
  bool writable_;
};

class MemoryFile final : public File {
 public:
  explicit MemoryFile(bool read_only) : read_only_(read_only) {}
  MemoryFile(const void* data, size_t size, bool read_only)
      : bytes_(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size), read_only_(read_only) {}

  HRESULT ReadAt(uint64_t offset, void* buffer, size_t size, size_t* read) override {
    std::lock_guard<std::mutex> lock(mu_);
    *read = 0;
    if (offset >= bytes_.size()) return S_OK;
    size_t n = static_cast<size_t>(std::min<uint64_t>(size, bytes_.size() - offset));
    std::memcpy(buffer, bytes_.data() + offset, n);
    *read = n;
    return S_OK;
  }
  HRESULT WriteAt(uint64_t offset, const void* buffer, size_t size) override {
    if (read_only_) return STG_E_ACCESSDENIED;
    std::lock_guard<std::mutex> lock(mu_);
    if (offset > kMax || size > kMax - offset) return STG_E_MEDIUMFULL;
    try {
      if (bytes_.size() < offset + size) bytes_.resize(static_cast<size_t>(offset + size));
    } catch (const std::bad_alloc&) {
      return STG_E_MEDIUMFULL;
    }
    if (size) std::memcpy(bytes_.data() + offset, buffer, size);
    return S_OK;
  }
  HRESULT GetSize(uint64_t* size) override {
    std::lock_guard<std::mutex> lock(mu_);
    *size = bytes_.size();
    return S_OK;
  }
  HRESULT SetSize(uint64_t size) override {
    if (read_only_) return STG_E_ACCESSDENIED;
    if (size > kMax) return STG_E_MEDIUMFULL;
    std::lock_guard<std::mutex> lock(mu_);
    try {
      bytes_.resize(static_cast<size_t>(size));
    } catch (const std::bad_alloc&) {
      return STG_E_MEDIUMFULL;
    }
    return S_OK;
  }
  HRESULT Flush() override { return read_only_ ? STG_E_ACCESSDENIED : S_OK; }
  bool Writable() const override { return !read_only_; }

 private:
  static constexpr uint64_t kMax = uint64_t{1} << 34;
  std::mutex mu_;
  std::vector<uint8_t> bytes_;
  bool read_only_;
};

int OpenFd(const char* path, int flags) {
  int fd;
  do {
    fd = ::open(path, flags | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

std::mutex& DeniedMutex() {
  static std::mutex m;
  return m;
}

std::string& DeniedPath() {
  static std::string path;
  return path;
}

bool WriteDenied(const char* path) {
  std::lock_guard<std::mutex> lock(DeniedMutex());
  return !DeniedPath().empty() && DeniedPath() == path;
}

}  // namespace

void DenyWriteOpensForTesting(const char* path) {
  std::lock_guard<std::mutex> lock(DeniedMutex());
  DeniedPath() = path ? path : "";
}

HRESULT OpenFile(const char* path, FileMode mode, FileShare share, std::unique_ptr<File>* out) {
  out->reset();
  if (!path || !*path) return STG_E_INVALIDPARAMETER;
  if (mode != FileMode::kOpenRead && WriteDenied(path)) return STG_E_ACCESSDENIED;
  int flags = 0;
  switch (mode) {
    case FileMode::kOpenRead: flags = O_RDONLY; break;
    case FileMode::kOpenReadWrite: flags = O_RDWR; break;
    case FileMode::kCreateNew: flags = O_RDWR | O_CREAT | O_EXCL; break;
    case FileMode::kCreateAlways: flags = O_RDWR | O_CREAT; break;
  }
  int fd;
  if (mode == FileMode::kOpenRead) {
    // O_NOATIME is refused (EPERM) on files the caller does not own.
    fd = OpenFd(path, flags | O_NOATIME);
    if (fd < 0 && errno == EPERM) fd = OpenFd(path, flags);
  } else {
    fd = OpenFd(path, flags);
  }
  if (fd < 0) return FromErrno(errno, STG_E_ACCESSDENIED);
  auto fail = [fd](HRESULT hr) {
    ::close(fd);
    return hr;
  };
  struct stat st;
  if (::fstat(fd, &st) != 0) return fail(FromErrno(errno, STG_E_READFAULT));
  if (S_ISDIR(st.st_mode)) return fail(STG_E_ACCESSDENIED);
  if (share != FileShare::kDenyNone) {
    int op = (share == FileShare::kExclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
    while (::flock(fd, op) != 0)
      if (errno != EINTR) return fail(errno == EWOULDBLOCK ? STG_E_SHAREVIOLATION : FromErrno(errno, STG_E_ACCESSDENIED));
  }
  // Truncate only once the lock is held, so a refused open changes nothing.
  if (mode == FileMode::kCreateAlways && st.st_size != 0 && ::ftruncate(fd, 0) != 0)
    return fail(FromErrno(errno, STG_E_WRITEFAULT));
  File* file = new (std::nothrow) PosixFile(fd, mode != FileMode::kOpenRead);
  if (!file) return fail(STG_E_INSUFFICIENTMEMORY);
  out->reset(file);
  if (mode != FileMode::kOpenRead) return internal::WrapForWriteFaults(path, out);
  return S_OK;
}

std::unique_ptr<File> NewMemoryFile(bool read_only) { return std::make_unique<MemoryFile>(read_only); }

std::unique_ptr<File> NewMemoryFile(const void* data, size_t size, bool read_only) {
  return std::make_unique<MemoryFile>(data, size, read_only);
}

}  // namespace mlr
