// In-memory files for tests, fuzzers and benchmarks.
//
// MemoryFile keeps its bytes in a shared buffer (MemoryFile::Bytes), so a test
// can open the "same file" again after the engine has released it, or inspect
// and corrupt its bytes. It is thread-safe (one mutex around the buffer).
//
// FaultyFile wraps any RandomAccessFile and fails chosen calls: after a
// number of successful writes, every read past an offset, or all syncs. It
// counts the calls that reach the wrapped file, so a test can prove that a
// read-only open wrote nothing.
#pragma once

#include "platform/file.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace mlr::testing {

class MemoryFile final : public File {
 public:
  struct Bytes {
    std::mutex mu;
    std::vector<uint8_t> data;
  };

  explicit MemoryFile(std::shared_ptr<Bytes> bytes = std::make_shared<Bytes>(), bool writable = true)
      : bytes_(std::move(bytes)), writable_(writable) {}
  static std::unique_ptr<MemoryFile> FromVector(std::vector<uint8_t> data, bool writable = true);

  HRESULT ReadAt(uint64_t offset, void* buf, size_t n, size_t* read) override;
  HRESULT WriteAt(uint64_t offset, const void* buf, size_t n) override;
  HRESULT GetSize(uint64_t* size) override;
  HRESULT SetSize(uint64_t size) override;
  HRESULT Flush() override;
  bool Writable() const override { return writable_; }

  const std::shared_ptr<Bytes>& bytes() const { return bytes_; }
  std::vector<uint8_t> Snapshot() const;

 private:
  std::shared_ptr<Bytes> bytes_;
  bool writable_;
};

class FaultyFile final : public File {
 public:
  explicit FaultyFile(std::unique_ptr<File> base) : base_(std::move(base)) {}

  // Writes (and resizes) succeed this many times, then fail with STG_E_MEDIUMFULL.
  void FailWritesAfter(int64_t successful) { writes_left_ = successful; }
  // Reads that touch bytes at or beyond this offset fail with STG_E_READFAULT.
  void FailReadsFrom(uint64_t offset) { fail_reads_from_ = offset; }
  void FailSyncs(bool fail) { fail_syncs_ = fail; }

  int64_t writes() const { return writes_; }
  int64_t reads() const { return reads_; }

  HRESULT ReadAt(uint64_t offset, void* buf, size_t n, size_t* read) override;
  HRESULT WriteAt(uint64_t offset, const void* buf, size_t n) override;
  HRESULT GetSize(uint64_t* size) override { return base_->GetSize(size); }
  HRESULT SetSize(uint64_t size) override;
  HRESULT Flush() override;
  bool Writable() const override { return base_->Writable(); }

 private:
  bool TakeWrite();

  std::unique_ptr<File> base_;
  std::atomic<int64_t> writes_left_{INT64_MAX};
  std::atomic<uint64_t> fail_reads_from_{UINT64_MAX};
  std::atomic<bool> fail_syncs_{false};
  std::atomic<int64_t> writes_{0};
  std::atomic<int64_t> reads_{0};
};

}  // namespace mlr::testing
