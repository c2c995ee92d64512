#include "save/source_hnorms.h"

#include "platform/com_ptr.h"

namespace mlr::save {

HRESULT ReadHNorm(IHNorms* hnorms, LONG index, HNormRow* row) {
  ComPtr<IHNorm> hnorm;
  HRESULT hr = hnorms->get_Item(index, hnorm.put());
  if (FAILED(hr)) return hr;
  if (!hnorm) return E_FAIL;
  if (FAILED(hr = hnorm->get_StartTime(&row->start))) return hr;
  if (FAILED(hr = hnorm->get_XStep(&row->x_step))) return hr;
  return hnorm->get_Length(&row->length);
}

HRESULT OpenHNorms(IChannelGroup* group, IHNorms** hnorms, LONG* count) {
  *hnorms = nullptr;
  *count = 0;
  ComPtr<IHNorms> out;
  HRESULT hr = group->get_HNorms(out.put());
  if (FAILED(hr)) return hr;
  if (!out) return E_FAIL;
  if (FAILED(hr = out->get_Count(count))) return hr;
  *hnorms = out.detach();
  return S_OK;
}

}  // namespace mlr::save
