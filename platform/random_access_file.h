// The file seam of the compound-file engine: an abstract file read and written
// at explicit offsets, its POSIX implementation (OpenRandomAccessFile), and the
// error kinds the engine needs to tell apart.
//
// Ownership: OpenRandomAccessFile hands out a std::unique_ptr; the file is
// closed when the object is destroyed. Threading: ReadAt and WriteAt may be
// called from several threads at once (they are positionless, pread/pwrite);
// SetSize and Sync may run concurrently with them. Out parameters are left
// unspecified when a call fails.
//
// A file opened read-only never writes and never changes a file time: it is
// opened with O_NOATIME where the kernel allows it, and WriteAt/SetSize/Sync
// fail with kAccessDenied without reaching the operating system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace mlr::platform {

enum class FileError {
  kOk = 0,
  kNotFound,       // the file (or a directory on its path) does not exist
  kAccessDenied,   // permissions, read-only file system, or a write through a read-only file
  kAlreadyExists,  // kCreateNew on an existing file
  kNoSpace,        // the disk or a quota is full, or the file would be too large
  kIo,             // any other failure of the operating system
  kInvalid,        // a bad argument (negative size, offset overflow)
};

// Result of a file call: the kind and, on failure, the operating system's
// description ("open /x/y: Permission denied").
struct FileStatus {
  FileError error = FileError::kOk;
  std::string message;

  bool ok() const { return error == FileError::kOk; }
  static FileStatus Ok() { return {}; }
  static FileStatus Fail(FileError e, std::string m) { return {e, std::move(m)}; }
};

class RandomAccessFile {
 public:
  virtual ~RandomAccessFile() = default;

  // Reads up to n bytes at offset into buf; *read receives the count, which
  // is below n only at the end of the file.
  virtual FileStatus ReadAt(uint64_t offset, void* buf, size_t n, size_t* read) = 0;
  // Writes all n bytes at offset, extending the file if needed.
  virtual FileStatus WriteAt(uint64_t offset, const void* buf, size_t n) = 0;
  virtual FileStatus Size(uint64_t* size) = 0;
  // Extends (with zeros) or truncates the file.
  virtual FileStatus SetSize(uint64_t size) = 0;
  // Flushes written data to the medium.
  virtual FileStatus Sync() = 0;
  virtual bool writable() const = 0;
};

enum class OpenMode {
  kReadOnly,     // existing file, reads only
  kReadWrite,    // existing file, reads and writes
  kCreate,       // create or truncate, reads and writes
  kCreateNew,    // create; fails with kAlreadyExists if the file exists
};

// Opens the file at path (UTF-8). Distinguishes a missing file (kNotFound)
// from one the user may not open in that mode (kAccessDenied).
FileStatus OpenRandomAccessFile(const std::string& path, OpenMode mode,
                                std::unique_ptr<RandomAccessFile>* file);

// Removes a file; kNotFound if there is none.
FileStatus RemoveFile(const std::string& path);

}  // namespace mlr::platform
