#include "platform/random_access_file.h"

#include <cerrno>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mlr::platform {
namespace {

FileError ErrorFromErrno(int e) {
  switch (e) {
    case ENOENT:
    case ENOTDIR:
      return FileError::kNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
    case ETXTBSY:
    case EISDIR:
      return FileError::kAccessDenied;
    case EEXIST:
      return FileError::kAlreadyExists;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return FileError::kNoSpace;
    case EINVAL:
    case EOVERFLOW:
      return FileError::kInvalid;
    default:
      return FileError::kIo;
  }
}

FileStatus FromErrno(const char* what, const std::string& path, int e) {
  return FileStatus::Fail(ErrorFromErrno(e), std::string(what) + " " + path + ": " + std::strerror(e));
}

bool FitsOffT(uint64_t offset, size_t n) {
  const uint64_t max = static_cast<uint64_t>(std::numeric_limits<off_t>::max());
  return offset <= max && n <= max - offset;
}

class PosixFile final : public RandomAccessFile {
 public:
  PosixFile(int fd, std::string path, bool writable)
      : fd_(fd), path_(std::move(path)), writable_(writable) {}
  ~PosixFile() override { ::close(fd_); }

  FileStatus ReadAt(uint64_t offset, void* buf, size_t n, size_t* read) override {
    if (!FitsOffT(offset, n)) return FileStatus::Fail(FileError::kInvalid, "read beyond the largest offset");
    auto* p = static_cast<char*>(buf);
    size_t done = 0;
    while (done < n) {
      ssize_t r = ::pread(fd_, p + done, n - done, static_cast<off_t>(offset + done));
      if (r < 0) {
        if (errno == EINTR) continue;
        *read = done;
        return FromErrno("read", path_, errno);
      }
      if (r == 0) break;
      done += static_cast<size_t>(r);
    }
    *read = done;
    return FileStatus::Ok();
  }

  FileStatus WriteAt(uint64_t offset, const void* buf, size_t n) override {
    if (!writable_) return FileStatus::Fail(FileError::kAccessDenied, "write " + path_ + ": opened read-only");
    if (!FitsOffT(offset, n)) return FileStatus::Fail(FileError::kNoSpace, "write beyond the largest offset");
    const auto* p = static_cast<const char*>(buf);
    size_t done = 0;
    while (done < n) {
      ssize_t r = ::pwrite(fd_, p + done, n - done, static_cast<off_t>(offset + done));
      if (r < 0) {
        if (errno == EINTR) continue;
        return FromErrno("write", path_, errno);
      }
      if (r == 0) return FileStatus::Fail(FileError::kNoSpace, "write " + path_ + ": no progress");
      done += static_cast<size_t>(r);
    }
    return FileStatus::Ok();
  }

  FileStatus Size(uint64_t* size) override {
    struct stat st;
    if (::fstat(fd_, &st) != 0) return FromErrno("stat", path_, errno);
    *size = static_cast<uint64_t>(st.st_size);
    return FileStatus::Ok();
  }

  FileStatus SetSize(uint64_t size) override {
    if (!writable_) return FileStatus::Fail(FileError::kAccessDenied, "resize " + path_ + ": opened read-only");
    if (!FitsOffT(size, 0)) return FileStatus::Fail(FileError::kNoSpace, "resize beyond the largest offset");
    while (::ftruncate(fd_, static_cast<off_t>(size)) != 0) {
      if (errno != EINTR) return FromErrno("resize", path_, errno);
    }
    return FileStatus::Ok();
  }

  FileStatus Sync() override {
    if (!writable_) return FileStatus::Fail(FileError::kAccessDenied, "sync " + path_ + ": opened read-only");
    if (::fdatasync(fd_) != 0) return FromErrno("sync", path_, errno);
    return FileStatus::Ok();
  }

  bool writable() const override { return writable_; }

 private:
  int fd_;
  std::string path_;
  bool writable_;
};

int OpenFd(const std::string& path, int flags) {
  int fd;
  do {
    fd = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

}  // namespace

FileStatus OpenRandomAccessFile(const std::string& path, OpenMode mode,
                                std::unique_ptr<RandomAccessFile>* file) {
  int flags = 0;
  switch (mode) {
    case OpenMode::kReadOnly: flags = O_RDONLY; break;
    case OpenMode::kReadWrite: flags = O_RDWR; break;
    case OpenMode::kCreate: flags = O_RDWR | O_CREAT | O_TRUNC; break;
    case OpenMode::kCreateNew: flags = O_RDWR | O_CREAT | O_EXCL; break;
  }
  int fd = -1;
  if (mode == OpenMode::kReadOnly) {
    // Reading must not even touch the access time; O_NOATIME is refused with
    // EPERM on files the caller does not own, and then a plain open follows.
    fd = OpenFd(path, flags | O_NOATIME);
    if (fd < 0 && errno == EPERM) fd = OpenFd(path, flags);
  } else {
    fd = OpenFd(path, flags);
  }
  if (fd < 0) return FromErrno("open", path, errno);
  struct stat st;
  if (::fstat(fd, &st) != 0) {
    int e = errno;
    ::close(fd);
    return FromErrno("stat", path, e);
  }
  if (S_ISDIR(st.st_mode)) {
    ::close(fd);
    return FileStatus::Fail(FileError::kAccessDenied, "open " + path + ": is a directory");
  }
  try {
    file->reset(new PosixFile(fd, path, mode != OpenMode::kReadOnly));
  } catch (...) {
    ::close(fd);
    throw;
  }
  return FileStatus::Ok();
}

FileStatus RemoveFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0) return FromErrno("remove", path, errno);
  return FileStatus::Ok();
}

}  // namespace mlr::platform
