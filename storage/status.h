// The engine's internal status: a kind and a message that names the layer
// ("FAT: sector 812 is linked twice"). Internal code returns Status or
// Result<T>; the conversion to HRESULT happens once, in storage/hresult.h, at
// the interface boundary. Nothing in the engine throws except std::bad_alloc,
// which the interface members catch.
#pragma once

#include <cassert>
#include <optional>
#include <string>
#include <utility>

namespace mlr::storage {

enum class Code {
  kOk = 0,
  kCorrupt,        // the file's structures are inconsistent (STG_E_DOCFILECORRUPT)
  kNotCompound,    // the file is not a compound file (STG_E_FILEALREADYEXISTS on open)
  kFileNotFound,   // a missing file or element (STG_E_FILENOTFOUND)
  kAlreadyExists,  // an element with that name exists (STG_E_FILEALREADYEXISTS)
  kAccessDenied,   // the mode or the file's permissions forbid it (STG_E_ACCESSDENIED)
  kInvalidArg,     // a bad argument (STG_E_INVALIDPARAMETER)
  kInvalidName,    // a name too long or with forbidden characters (STG_E_INVALIDNAME)
  kInvalidFlag,    // an unsupported mode flag (STG_E_INVALIDFLAG)
  kInvalidFunction,// an operation not allowed on this element (STG_E_INVALIDFUNCTION)
  kMediumFull,     // the disk is full (STG_E_MEDIUMFULL)
  kTooLarge,       // the file would exceed what its version allows (STG_E_DOCFILETOOLARGE)
  kReadFault,      // the operating system failed a read (STG_E_READFAULT)
  kWriteFault,     // the operating system failed a write (STG_E_WRITEFAULT)
  kInUse,          // the element is open already (STG_E_ACCESSDENIED as on Windows)
  kReverted,       // the object's element was destroyed (STG_E_REVERTED)
  kNoMemory,       // an allocation failed (E_OUTOFMEMORY)
  kShareViolation, // another open holds the file (STG_E_SHAREVIOLATION)
  kPathNotFound,   // a directory on the path is missing (STG_E_PATHNOTFOUND)
  kTooManyFiles,   // no file handle left (STG_E_TOOMANYOPENFILES)
};

class [[nodiscard]] Status {
 public:
  Status() = default;
  Status(Code code, std::string message) : code_(code), message_(std::move(message)) {}
  static Status Ok() { return Status(); }

  bool ok() const { return code_ == Code::kOk; }
  Code code() const { return code_; }
  const std::string& message() const { return message_; }

 private:
  Code code_ = Code::kOk;
  std::string message_;
};

inline Status Corrupt(std::string message) { return Status(Code::kCorrupt, std::move(message)); }

// A value or the status that explains why there is none.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value_(std::move(value)) {}
  Result(Status status) : status_(std::move(status)) { assert(!status_.ok()); }

  bool ok() const { return status_.ok(); }
  const Status& status() const { return status_; }
  T& value() { return *value_; }
  const T& value() const { return *value_; }
  T& operator*() { return *value_; }
  T* operator->() { return &*value_; }

 private:
  Status status_;
  std::optional<T> value_;
};

#define MLR_RETURN_IF_ERROR(expr)             \
  do {                                        \
    ::mlr::storage::Status status_ = (expr);  \
    if (!status_.ok()) return status_;        \
  } while (0)

}  // namespace mlr::storage
