#include "save/save_write_job.h"

#include <algorithm>

namespace mlr::save {

CSaveWriteJob::CSaveWriteJob(IStream* stream, SAFEARRAY* data, size_t bytes)
    : stream_(stream), data_(data), bytes_(bytes) {}

CSaveWriteJob::~CSaveWriteJob() {
  if (data_) SafeArrayDestroy(data_);
}

HRESULT CSaveWriteJob::Perform() {
  if (bytes_ == 0) return S_OK;
  if (!stream_ || !data_ || !data_->pvData) return E_POINTER;
  const auto* p = static_cast<const unsigned char*>(data_->pvData);
  size_t left = bytes_;
  while (left > 0) {
    const ULONG chunk = static_cast<ULONG>(std::min<size_t>(left, 0x40000000));
    ULONG written = 0;
    HRESULT hr = stream_->Write(p, chunk, &written);
    if (FAILED(hr)) return hr;
    if (written != chunk) return STG_E_MEDIUMFULL;
    p += chunk;
    left -= chunk;
  }
  return S_OK;
}

}  // namespace mlr::save
