#include "model/channel_array.h"

#include <cstdint>
#include <new>

namespace mlr::model {

HRESULT ChannelInfosOf(SAFEARRAY* array, std::vector<ComPtr<IChannelInfo>>* out) {
  out->clear();
  VARTYPE vt = VT_EMPTY;
  if (array == nullptr || SafeArrayGetDim(array) != 1 || FAILED(SafeArrayGetVartype(array, &vt)) ||
      (vt != VT_DISPATCH && vt != VT_UNKNOWN && vt != VT_VARIANT)) {
    return E_INVALIDARG;
  }
  LONG lower = 0, upper = -1;
  if (FAILED(SafeArrayGetLBound(array, 1, &lower)) || FAILED(SafeArrayGetUBound(array, 1, &upper)))
    return E_INVALIDARG;
  const size_t count = upper >= lower ? static_cast<size_t>(int64_t{upper} - lower + 1) : 0;
  try {
    out->resize(count);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  void* data = nullptr;
  const HRESULT hr = SafeArrayAccessData(array, &data);
  if (FAILED(hr)) {
    out->clear();
    return hr;
  }
  for (size_t k = 0; k < count; ++k) {
    IUnknown* element = nullptr;
    if (vt == VT_VARIANT) {
      const VARIANT& v = static_cast<const VARIANT*>(data)[k];
      if (v.vt == VT_DISPATCH) element = v.pdispVal;
      if (v.vt == VT_UNKNOWN) element = v.punkVal;
    } else {
      element = static_cast<IUnknown* const*>(data)[k];
    }
    if (element != nullptr) (void)element->QueryInterface(IID_IChannelInfo, (*out)[k].put_void());
  }
  SafeArrayUnaccessData(array);
  return S_OK;
}

}  // namespace mlr::model
