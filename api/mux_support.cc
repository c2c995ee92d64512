#include "api/mux_support.h"

#include <cstring>
#include <new>

#include "model/channel_array.h"
#include "platform/safearray_uninit.h"
#include "server/error_raiser.h"

namespace mlr::api {

void SafeArrayHolder::reset() {
  if (array_ != nullptr) SafeArrayDestroy(array_);
  array_ = nullptr;
}

HRESULT ChannelSelection::Load(SAFEARRAY* array) {
  return mlr::model::ChannelInfosOf(array, &channels_);
}

SAFEARRAY* SingleChannelVector(IChannelInfo* channel) {
  SAFEARRAY* vector = SafeArrayCreateVector(VT_UNKNOWN, 0, 1);
  if (vector == nullptr) return nullptr;
  void* data = nullptr;
  if (FAILED(SafeArrayAccessData(vector, &data))) {
    SafeArrayDestroy(vector);
    return nullptr;
  }
  IUnknown* element = channel;
  if (element != nullptr) element->AddRef();
  static_cast<IUnknown**>(data)[0] = element;  // released by SafeArrayDestroy
  SafeArrayUnaccessData(vector);
  return vector;
}

HRESULT ReadNormset(IChannelGroup* group, LONG index, BadIndexReport report, NormsetView* view) {
  ComPtr<IHNorms> normsets;
  HRESULT hr = group->get_HNorms(normsets.put());
  if (FAILED(hr)) return hr;
  if (!normsets) return RaiseError(kMsgNoHorizontalNormsets, IID_IChannelGroup);
  hr = normsets->get_Item(index, view->normset.put());
  if (report == BadIndexReport::kNoNormsets) {
    if (FAILED(hr) || !view->normset) {
      return RaiseError(kMsgNoHorizontalNormsets, IID_IChannelGroup);
    }
  } else {
    if (FAILED(hr)) return hr;
    if (!view->normset) return RaiseError(kMsgInvalidNormsetIndex, IID_IChannelGroup);
  }
  if (FAILED(hr = view->normset->get_StartTime(&view->start))) return hr;
  if (FAILED(hr = view->normset->get_XStep(&view->step))) return hr;
  return view->normset->get_Length(&view->length);
}

size_t ChannelSelection::nulls() const {
  size_t count = 0;
  for (const ComPtr<IChannelInfo>& channel : channels_) count += channel ? 0 : 1;
  return count;
}

void MuxBlock::Clear() {
  if (accessed_) SafeArrayUnaccessData(array_.get());
  accessed_ = false;
  array_.reset();
  expanded_.clear();
  data_ = nullptr;
  frames_ = 0;
}

HRESULT MuxBlock::Read(IChannelGroup* group, SAFEARRAY** selection,
                       const ChannelSelection& channels, LONG hnorm, LONG first, LONG count,
                       LONG reduction) {
  Clear();
  const size_t per_channel = reduction == 1 ? 1 : 2;
  const size_t nulls = channels.nulls();
  if (nulls == 0 || nulls == channels.size()) {
    width_ = per_channel * channels.size();
    return ReadArray(group, selection, hnorm, first, count, reduction, width_);
  }
  SafeArrayHolder known(SafeArrayCreateVector(VT_UNKNOWN, 0,
                                              static_cast<ULONG>(channels.size() - nulls)));
  if (known.get() == nullptr) return E_OUTOFMEMORY;
  void* data = nullptr;
  HRESULT hr = SafeArrayAccessData(known.get(), &data);
  if (FAILED(hr)) return hr;
  for (size_t k = 0, j = 0; k < channels.size(); ++k) {
    if (IChannelInfo* channel = channels.at(k)) {
      channel->AddRef();  // released by SafeArrayDestroy
      static_cast<IUnknown**>(data)[j++] = channel;
    }
  }
  SafeArrayUnaccessData(known.get());
  SAFEARRAY* list = known.get();
  hr = ReadArray(group, &list, hnorm, first, count, reduction,
                 per_channel * (channels.size() - nulls));
  if (FAILED(hr)) return hr;
  Expand(channels, per_channel);
  return hr;
}

void MuxBlock::Expand(const ChannelSelection& channels, size_t per_channel) {
  const size_t narrow = width_;
  width_ = per_channel * channels.size();
  expanded_.assign(frames_ * width_, 0);
  for (size_t i = 0; i < frames_; ++i) {
    const int16_t* from = data_ + i * narrow;
    int16_t* to = expanded_.data() + i * width_;
    for (size_t k = 0; k < channels.size(); ++k, to += per_channel) {
      if (channels.at(k) == nullptr) continue;
      for (size_t v = 0; v < per_channel; ++v) to[v] = *from++;
    }
  }
  if (accessed_) SafeArrayUnaccessData(array_.get());
  accessed_ = false;
  array_.reset();
  data_ = expanded_.data();
}

HRESULT MuxBlock::ReadArray(IChannelGroup* group, SAFEARRAY** selection, LONG hnorm, LONG first,
                            LONG count, LONG reduction, size_t width) {
  width_ = width;
  const HRESULT hr = group->GetMuxData(selection, hnorm, first, count, reduction, array_.put());
  if (FAILED(hr)) {
    array_.reset();  // a failing group should leave nothing, but never keep it
    return hr;
  }
  SAFEARRAY* array = array_.get();
  if (array == nullptr) return hr;
  const UINT dims = SafeArrayGetDim(array);
  if (dims < 1 || SafeArrayGetElemsize(array) != sizeof(int16_t)) return E_UNEXPECTED;
  uint64_t cells = 1;
  uint64_t frames = 0;
  for (UINT d = 1; d <= dims; ++d) {
    LONG lower = 0;
    LONG upper = -1;
    if (FAILED(SafeArrayGetLBound(array, d, &lower)) || FAILED(SafeArrayGetUBound(array, d, &upper))) {
      return E_UNEXPECTED;
    }
    frames = upper >= lower ? static_cast<uint64_t>(int64_t{upper} - lower + 1) : 0;
    cells *= frames;  // a safe array holds at most 2^31 elements: no overflow
  }
  if (frames * width > cells) return E_UNEXPECTED;
  if (frames == 0 || width == 0) return hr;
  void* data = nullptr;
  const HRESULT access = SafeArrayAccessData(array, &data);
  if (FAILED(access)) return access;
  accessed_ = true;
  data_ = static_cast<const int16_t*>(data);
  frames_ = static_cast<size_t>(frames);
  return hr;
}

SAFEARRAY* CreateArray(VARTYPE vt, const std::vector<size_t>& extents, LONG lower_bound,
                       bool zeroed, void** data) {
  *data = nullptr;
  SAFEARRAYBOUND bounds[2];
  if (extents.empty() || extents.size() > 2) return nullptr;
  for (size_t d = 0; d < extents.size(); ++d) {
    if (extents[d] > 0x7FFFFFFF) return nullptr;
    bounds[d].cElements = static_cast<ULONG>(extents[d]);
    bounds[d].lLbound = lower_bound;
  }
  const UINT dims = static_cast<UINT>(extents.size());
  SAFEARRAY* array = zeroed ? SafeArrayCreate(vt, dims, bounds)
                            : SafeArrayCreateUninitialized(vt, dims, bounds);
  if (array == nullptr) return nullptr;
  if (FAILED(SafeArrayAccessData(array, data))) {
    SafeArrayDestroy(array);
    return nullptr;
  }
  SafeArrayUnaccessData(array);  // we own the array: its block stays put until Redim
  return array;
}

HRESULT ShrinkLastDimension(SAFEARRAY* array, size_t count) {
  const UINT dims = SafeArrayGetDim(array);
  SAFEARRAYBOUND bound;
  bound.cElements = static_cast<ULONG>(count);
  bound.lLbound = 0;
  if (FAILED(SafeArrayGetLBound(array, dims, &bound.lLbound))) return E_UNEXPECTED;
  return SafeArrayRedim(array, &bound);
}

}  // namespace mlr::api
