#include "testing/memory_file.h"

#include <algorithm>
#include <cstring>

namespace mlr::testing {

using platform::FileError;
using platform::FileStatus;

namespace {
// Keeps a fuzz input or a runaway test from asking for more than this.
constexpr uint64_t kMaxMemoryFile = uint64_t{16} << 30;
}  // namespace

std::unique_ptr<MemoryFile> MemoryFile::FromVector(std::vector<uint8_t> data, bool writable) {
  auto bytes = std::make_shared<Bytes>();
  bytes->data = std::move(data);
  return std::make_unique<MemoryFile>(std::move(bytes), writable);
}

FileStatus MemoryFile::ReadAt(uint64_t offset, void* buf, size_t n, size_t* read) {
  std::lock_guard<std::mutex> lock(bytes_->mu);
  const auto& d = bytes_->data;
  if (offset >= d.size()) {
    *read = 0;
    return FileStatus::Ok();
  }
  size_t count = static_cast<size_t>(std::min<uint64_t>(n, d.size() - offset));
  std::memcpy(buf, d.data() + offset, count);
  *read = count;
  return FileStatus::Ok();
}

FileStatus MemoryFile::WriteAt(uint64_t offset, const void* buf, size_t n) {
  if (!writable_) return FileStatus::Fail(FileError::kAccessDenied, "memory file is read-only");
  if (offset > kMaxMemoryFile || n > kMaxMemoryFile - offset)
    return FileStatus::Fail(FileError::kNoSpace, "memory file too large");
  std::lock_guard<std::mutex> lock(bytes_->mu);
  auto& d = bytes_->data;
  if (d.size() < offset + n) d.resize(static_cast<size_t>(offset + n));
  if (n) std::memcpy(d.data() + offset, buf, n);
  return FileStatus::Ok();
}

FileStatus MemoryFile::Size(uint64_t* size) {
  std::lock_guard<std::mutex> lock(bytes_->mu);
  *size = bytes_->data.size();
  return FileStatus::Ok();
}

FileStatus MemoryFile::SetSize(uint64_t size) {
  if (!writable_) return FileStatus::Fail(FileError::kAccessDenied, "memory file is read-only");
  if (size > kMaxMemoryFile) return FileStatus::Fail(FileError::kNoSpace, "memory file too large");
  std::lock_guard<std::mutex> lock(bytes_->mu);
  bytes_->data.resize(static_cast<size_t>(size));
  return FileStatus::Ok();
}

FileStatus MemoryFile::Sync() {
  if (!writable_) return FileStatus::Fail(FileError::kAccessDenied, "memory file is read-only");
  return FileStatus::Ok();
}

std::vector<uint8_t> MemoryFile::Snapshot() const {
  std::lock_guard<std::mutex> lock(bytes_->mu);
  return bytes_->data;
}

bool FaultyFile::TakeWrite() {
  ++writes_;
  return writes_left_.fetch_sub(1) > 0;
}

FileStatus FaultyFile::ReadAt(uint64_t offset, void* buf, size_t n, size_t* read) {
  ++reads_;
  if (n > 0 && offset + n > fail_reads_from_) {
    *read = 0;
    return FileStatus::Fail(FileError::kIo, "injected read error");
  }
  return base_->ReadAt(offset, buf, n, read);
}

FileStatus FaultyFile::WriteAt(uint64_t offset, const void* buf, size_t n) {
  if (!TakeWrite()) return FileStatus::Fail(FileError::kNoSpace, "injected write error");
  return base_->WriteAt(offset, buf, n);
}

FileStatus FaultyFile::SetSize(uint64_t size) {
  if (!TakeWrite()) return FileStatus::Fail(FileError::kNoSpace, "injected resize error");
  return base_->SetSize(size);
}

FileStatus FaultyFile::Sync() {
  if (fail_syncs_) return FileStatus::Fail(FileError::kIo, "injected sync error");
  return base_->Sync();
}

}  // namespace mlr::testing
