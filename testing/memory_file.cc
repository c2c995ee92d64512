#include "testing/memory_file.h"

#include <algorithm>
#include <cstring>

namespace mlr::testing {


namespace {
// Keeps a fuzz input or a runaway test from asking for more than this.
constexpr uint64_t kMaxMemoryFile = uint64_t{16} << 30;
}  // namespace

std::unique_ptr<MemoryFile> MemoryFile::FromVector(std::vector<uint8_t> data, bool writable) {
  auto bytes = std::make_shared<Bytes>();
  bytes->data = std::move(data);
  return std::make_unique<MemoryFile>(std::move(bytes), writable);
}

HRESULT MemoryFile::ReadAt(uint64_t offset, void* buf, size_t n, size_t* read) {
  std::lock_guard<std::mutex> lock(bytes_->mu);
  const auto& d = bytes_->data;
  if (offset >= d.size()) {
    *read = 0;
    return S_OK;
  }
  size_t count = static_cast<size_t>(std::min<uint64_t>(n, d.size() - offset));
  std::memcpy(buf, d.data() + offset, count);
  *read = count;
  return S_OK;
}

HRESULT MemoryFile::WriteAt(uint64_t offset, const void* buf, size_t n) {
  if (!writable_) return STG_E_ACCESSDENIED;
  if (offset > kMaxMemoryFile || n > kMaxMemoryFile - offset)
    return STG_E_MEDIUMFULL;
  std::lock_guard<std::mutex> lock(bytes_->mu);
  auto& d = bytes_->data;
  if (d.size() < offset + n) d.resize(static_cast<size_t>(offset + n));
  if (n) std::memcpy(d.data() + offset, buf, n);
  return S_OK;
}

HRESULT MemoryFile::GetSize(uint64_t* size) {
  std::lock_guard<std::mutex> lock(bytes_->mu);
  *size = bytes_->data.size();
  return S_OK;
}

HRESULT MemoryFile::SetSize(uint64_t size) {
  if (!writable_) return STG_E_ACCESSDENIED;
  if (size > kMaxMemoryFile) return STG_E_MEDIUMFULL;
  std::lock_guard<std::mutex> lock(bytes_->mu);
  bytes_->data.resize(static_cast<size_t>(size));
  return S_OK;
}

HRESULT MemoryFile::Flush() {
  if (!writable_) return STG_E_ACCESSDENIED;
  return S_OK;
}

std::vector<uint8_t> MemoryFile::Snapshot() const {
  std::lock_guard<std::mutex> lock(bytes_->mu);
  return bytes_->data;
}

bool FaultyFile::TakeWrite() {
  ++writes_;
  return writes_left_.fetch_sub(1) > 0;
}

HRESULT FaultyFile::ReadAt(uint64_t offset, void* buf, size_t n, size_t* read) {
  ++reads_;
  if (n > 0 && offset + n > fail_reads_from_) {
    *read = 0;
    return STG_E_READFAULT;
  }
  return base_->ReadAt(offset, buf, n, read);
}

HRESULT FaultyFile::WriteAt(uint64_t offset, const void* buf, size_t n) {
  if (!TakeWrite()) return STG_E_MEDIUMFULL;
  return base_->WriteAt(offset, buf, n);
}

HRESULT FaultyFile::SetSize(uint64_t size) {
  if (!TakeWrite()) return STG_E_MEDIUMFULL;
  return base_->SetSize(size);
}

HRESULT FaultyFile::Flush() {
  if (fail_syncs_) return STG_E_WRITEFAULT;
  return base_->Flush();
}

}  // namespace mlr::testing
