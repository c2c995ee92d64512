// GetResampledMuxData: see api/mux_data.h for the contract.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "LegacyRecording.h"
#include "api/mux_data.h"
#include "api/mux_support.h"
#include "server/error_raiser.h"

namespace mlr::api {
namespace {

constexpr LONG kChunkFrames = 10000;

HRESULT ResampledMuxData(IChannelGroup* group, SAFEARRAY** channels, LONG hnorm, LONG count,
                         LONG reduction, SAFEARRAY** result) {
  NormsetView normset;
  HRESULT hr = ReadNormset(group, hnorm, BadIndexReport::kInvalidIndex, &normset);
  if (FAILED(hr)) return hr;
  if (normset.length < 1) return RaiseError(kMsgNoSamplesInTimezone, IID_IChannelGroup);

  ChannelSelection selection;
  if (FAILED(hr = selection.Load(channels == nullptr ? nullptr : *channels))) return hr;
  const size_t width = selection.size();
  const size_t wanted = static_cast<size_t>(
      std::min<LONG>((normset.length - 1) / reduction + 1, count));

  void* data = nullptr;
  std::vector<size_t> extents = {width, wanted};
  if (width < 2) extents = {wanted};
  SafeArrayHolder array(CreateArray(VT_I2, extents, 0, true, &data));
  if (array.get() == nullptr) return E_OUTOFMEMORY;
  auto* out = static_cast<int16_t*>(data);

  // Every chunk starts at the next wanted sample; beyond one chunk's length
  // apart, each wanted sample is read on its own.
  const LONG chunk = reduction <= kChunkFrames ? kChunkFrames : 1;
  int64_t position = 1;
  size_t written = 0;
  MuxBlock block;
  while (written < wanted && position <= normset.length) {
    if (FAILED(block.Read(group, channels, selection, hnorm, static_cast<LONG>(position), chunk,
                          1)) ||
        block.frames() < 1) {
      break;  // the group's failure only ends the reading
    }
    for (size_t j = 0; j < block.frames() && written < wanted; j += static_cast<size_t>(reduction)) {
      std::memcpy(out + written * width, block.frame(j), width * sizeof(int16_t));
      position += reduction;
      ++written;
    }
  }
  if (written < 1) return S_OK;
  if (written < wanted && FAILED(hr = ShrinkLastDimension(array.get(), written))) return hr;
  *result = array.release();
  return S_OK;
}

}  // namespace
}  // namespace mlr::api

MLR_API HRESULT STDAPICALLTYPE GetResampledMuxData(IChannelGroup* ChGrp, SAFEARRAY** ChInfo,
                                                   LONG HNormIndex, LONG FirstSample,
                                                   LONG ItemCount, LONG Reduction,
                                                   SAFEARRAY** Result) {
  if (Result == nullptr) return E_POINTER;
  *Result = nullptr;
  if (ChGrp == nullptr) return E_INVALIDARG;
  if (ItemCount <= 0 || Reduction <= 0) return S_FALSE;
  if (Reduction == 1) {
    return ChGrp->GetMuxData(ChInfo, HNormIndex, FirstSample, ItemCount, 1, Result);
  }
  try {
    return mlr::api::ResampledMuxData(ChGrp, ChInfo, HNormIndex, ItemCount, Reduction, Result);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}
