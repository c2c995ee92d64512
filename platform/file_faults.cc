#include "platform/file_faults.h"

#include <atomic>
#include <mutex>
#include <new>
#include <string>

namespace mlr {
namespace {

struct FaultHook {
  std::mutex mutex;
  std::string path;
  uint64_t k = 0;
  HRESULT failure = STG_E_WRITEFAULT;
  std::atomic<uint64_t> count{0};
};

FaultHook& Hook() {
  static FaultHook hook;
  return hook;
}

class FaultFile final : public File {
 public:
  FaultFile(std::unique_ptr<File> inner, uint64_t k, HRESULT failure)
      : inner_(std::move(inner)), k_(k), failure_(failure) {}

  HRESULT ReadAt(uint64_t offset, void* buffer, size_t size, size_t* read) override {
    return inner_->ReadAt(offset, buffer, size, read);
  }
  HRESULT WriteAt(uint64_t offset, const void* buffer, size_t size) override {
    if (Hook().count.fetch_add(1) + 1 == k_) return failure_;
    return inner_->WriteAt(offset, buffer, size);
  }
  HRESULT GetSize(uint64_t* size) override { return inner_->GetSize(size); }
  HRESULT SetSize(uint64_t size) override { return inner_->SetSize(size); }
  HRESULT Flush() override { return inner_->Flush(); }
  bool Writable() const override { return inner_->Writable(); }

 private:
  std::unique_ptr<File> inner_;
  const uint64_t k_;
  const HRESULT failure_;
};

}  // namespace

void FailWriteForTesting(const char* path, uint64_t k, HRESULT failure) {
  FaultHook& hook = Hook();
  std::lock_guard<std::mutex> lock(hook.mutex);
  hook.path = path ? path : "";
  hook.k = k;
  hook.failure = failure;
  hook.count = 0;
}

uint64_t CountedWritesForTesting() { return Hook().count.load(); }

namespace internal {

HRESULT WrapForWriteFaults(const char* path, std::unique_ptr<File>* file) {
  FaultHook& hook = Hook();
  uint64_t k;
  HRESULT failure;
  {
    std::lock_guard<std::mutex> lock(hook.mutex);
    if (hook.path.empty() || hook.path != path) return S_OK;
    k = hook.k;
    failure = hook.failure;
  }
  File* wrapped = new (std::nothrow) FaultFile(std::move(*file), k, failure);
  if (!wrapped) {
    file->reset();
    return STG_E_INSUFFICIENTMEMORY;
  }
  file->reset(wrapped);
  return S_OK;
}

}  // namespace internal
}  // namespace mlr
