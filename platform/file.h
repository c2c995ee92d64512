// The file seam: random-access files for the compound-file engine and other
// code that reads or writes files by offset.
//
// mlr::File is an open file. OpenFile gives the POSIX implementation
// (pread/pwrite, 64-bit offsets); NewMemoryFile an in-memory one for tests;
// tests may implement File themselves to inject faults.
//
// Errors are structured-storage status codes, chosen so the engine can pass
// them on unchanged: STG_E_FILENOTFOUND, STG_E_PATHNOTFOUND,
// STG_E_ACCESSDENIED, STG_E_FILEALREADYEXISTS, STG_E_SHAREVIOLATION (the file
// is locked by another open), STG_E_TOOMANYOPENFILES, STG_E_MEDIUMFULL,
// STG_E_READFAULT, STG_E_WRITEFAULT, STG_E_INSUFFICIENTMEMORY,
// STG_E_INVALIDPARAMETER.
//
// Threading: ReadAt/WriteAt/Size may be called concurrently from several
// threads (positional I/O, no shared seek pointer); SetSize and Flush must not
// race with writes. Ownership: the caller owns the File (unique_ptr); closing
// happens in the destructor (errors on close are reported by Flush first).
#pragma once

#include "platform/win.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace mlr {

class File {
 public:
  virtual ~File() = default;

  // Reads up to `size` bytes at `offset` into `buffer`; *read receives the
  // count (short only at the end of the file; 0 at or past the end).
  virtual HRESULT ReadAt(uint64_t offset, void* buffer, size_t size, size_t* read) = 0;
  // Writes all `size` bytes at `offset`, growing the file as needed (a gap
  // reads as zeros).
  virtual HRESULT WriteAt(uint64_t offset, const void* buffer, size_t size) = 0;
  virtual HRESULT GetSize(uint64_t* size) = 0;
  // Truncates or extends (with zeros).
  virtual HRESULT SetSize(uint64_t size) = 0;
  // Makes written data durable.
  virtual HRESULT Flush() = 0;
  // Whether the file was opened for writing.
  virtual bool Writable() const = 0;
};

enum class FileMode {
  kOpenRead,       // existing file, read only
  kOpenReadWrite,  // existing file, read and write
  kCreateNew,      // new file, fails with STG_E_FILEALREADYEXISTS if present
  kCreateAlways,   // new or truncated file
};

// Sharing, as the grfMode of the storage functions asks for it: an advisory
// lock taken on the whole file at open, so that two opens of the same file
// (in this process or another) conflict as on Windows.
enum class FileShare {
  kDenyNone,   // no lock
  kDenyWrite,  // shared lock: others may read but not write
  kExclusive,  // exclusive lock
};

// `path` is UTF-8. *out is null on failure.
HRESULT OpenFile(const char* path, FileMode mode, FileShare share, std::unique_ptr<File>* out);

// An empty growable file in memory. Writable unless read_only.
std::unique_ptr<File> NewMemoryFile(bool read_only = false);
// An in-memory file holding a copy of `data`.
std::unique_ptr<File> NewMemoryFile(const void* data, size_t size, bool read_only);

// Test hook. While a path is set, OpenFile refuses every open of exactly that
// path (same string) that asks for writing (kOpenReadWrite, kCreateNew,
// kCreateAlways) with STG_E_ACCESSDENIED before touching the file, as the
// system refuses a file without write permission to an unprivileged caller;
// read opens are unaffected. Null or "" clears it. Only tests set it (a
// process running as root may write a read-only file, so the refusal cannot
// be produced otherwise there); nothing in the library or the tools does.
// Thread-safe; one path at a time.
void DenyWriteOpensForTesting(const char* path);

// Test hook: a failing disk. While a path is set, every WriteAt on a file
// that OpenFile opens for writing at exactly that path (same string) is
// counted, from 1, across all such files; the `k`-th one fails with
// `failure` without writing anything (k = 0 fails none and only counts).
// Later writes succeed again: a single fault, which the writer must not
// lose. Null or "" clears the hook and the count. Only tests set it.
// Thread-safe; one path at a time; files opened before the call are not
// affected.
void FailWriteForTesting(const char* path, uint64_t k, HRESULT failure = STG_E_WRITEFAULT);
// The writes counted since FailWriteForTesting last set a path.
uint64_t CountedWritesForTesting();

}  // namespace mlr
