#include "model/channel_group_impl.h"

#include <new>

#include "model/api_entry_table.h"
#include "model/channel_array.h"
#include "model/channel_info_impl.h"
#include "model/channel_infos_impl.h"
#include "model/hnorm_impl.h"
#include "model/query_interface.h"
#include "model/recording_impl.h"

namespace {

// "No horizontal normsets", answered as a bare number with success severity.
constexpr HRESULT kNoHorizontalNormsets = 10202;

}  // namespace

CURIChannelGroupImpl::CURIChannelGroupImpl(CURIRecordingImpl* owner)
    : refs_(owner), channel_infos_(new CURIChannelInfosImpl(this)) {}

CURIChannelGroupImpl::~CURIChannelGroupImpl() = default;

HRESULT CURIChannelGroupImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IChannelGroup*>(this), {IID_IChannelGroup}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIChannelGroupImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIChannelGroupImpl::Release() { return refs_.Release(); }

HRESULT CURIChannelGroupImpl::get_Parent(IChannelGroups** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return owner()->get_ChannelGroups(pVal);
}

CURIHNormsImpl* CURIChannelGroupImpl::HNormsCollection() {
  return hnorms_.GetOrCreate(this);
}

HRESULT CURIChannelGroupImpl::get_HNorms(IHNorms** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  CURIHNormsImpl* hnorms = HNormsCollection();
  if (hnorms == nullptr) return E_OUTOFMEMORY;
  return hnorms->QueryInterface(IID_IHNorms, reinterpret_cast<void**>(pVal));
}

HRESULT CURIChannelGroupImpl::get_ChannelInfos(IChannelInfos** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return channel_infos_->QueryInterface(IID_IChannelInfos, reinterpret_cast<void**>(pVal));
}

HRESULT CURIChannelGroupImpl::GetBestReductionFactor(LONG, LONG* ReductionFactor) {
  if (ReductionFactor == nullptr) return E_POINTER;
  return S_OK;
}

HRESULT CURIChannelGroupImpl::OuterNormsetTime(bool last, double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = 0.0;
  IHNorms* hnorms = nullptr;
  HRESULT hr = get_HNorms(&hnorms);
  if (FAILED(hr)) return hr;
  hr = kNoHorizontalNormsets;
  if (hnorms != nullptr) {
    LONG index = 1;
    if (last) {
      index = 0;
      hnorms->get_Count(&index);
    }
    IHNorm* hnorm = nullptr;
    hnorms->get_Item(index, &hnorm);
    if (hnorm != nullptr) {
      if (last) {
        hnorm->get_EndTime(pVal);
      } else {
        hnorm->get_StartTime(pVal);
      }
      hnorm->Release();
      hr = S_OK;
    }
    hnorms->Release();
  }
  return hr;
}

HRESULT CURIChannelGroupImpl::get_StartTime(double* pVal) { return OuterNormsetTime(false, pVal); }

HRESULT CURIChannelGroupImpl::get_EndTime(double* pVal) { return OuterNormsetTime(true, pVal); }

HRESULT CURIChannelGroupImpl::get_Duration(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  double start = 0.0;
  double end = 0.0;
  get_StartTime(&start);
  get_EndTime(&end);
  *pVal = end - start;
  return S_OK;
}

HRESULT CURIChannelGroupImpl::GetMuxData(SAFEARRAY**, LONG, LONG, LONG, LONG, SAFEARRAY** Result) {
  if (Result == nullptr) return E_POINTER;
  return E_NOTIMPL;
}

HRESULT CURIChannelGroupImpl::GetScaledMuxData(SAFEARRAY** ChInfo, LONG HNormIndex,
                                               LONG FirstSample, LONG ItemCount, LONG Reduction,
                                               SAFEARRAY** Result) {
  if (Result == nullptr) return E_POINTER;
  const mlr::ApiEntries api = mlr::api_entry_table::Resolve();
  if (api.GetScaledMuxData == nullptr) return E_NOTIMPL;
  return api.GetScaledMuxData(static_cast<IChannelGroup*>(this), ChInfo, HNormIndex, FirstSample,
                              ItemCount, Reduction, Result);
}

HRESULT CURIChannelGroupImpl::GetResampledMuxData(SAFEARRAY** ChInfo, LONG HNormIndex,
                                                  LONG FirstSample, LONG ItemCount, LONG Resample,
                                                  SAFEARRAY** Result) {
  if (Result == nullptr) return E_POINTER;
  const mlr::ApiEntries api = mlr::api_entry_table::Resolve();
  if (api.GetResampledMuxData == nullptr) return E_NOTIMPL;
  return api.GetResampledMuxData(static_cast<IChannelGroup*>(this), ChInfo, HNormIndex,
                                 FirstSample, ItemCount, Resample, Result);
}

HRESULT CURIChannelGroupImpl::GetDisplayData(IChannelInfo* ChInfo, double StartTime,
                                             double EndTime, LONG Count, SAFEARRAY** Result) {
  if (Result == nullptr) return E_POINTER;
  const mlr::ApiEntries api = mlr::api_entry_table::Resolve();
  if (api.GetDisplayData == nullptr) return E_NOTIMPL;
  return api.GetDisplayData(static_cast<IChannelGroup*>(this), ChInfo, StartTime, EndTime, Count,
                            Result);
}

HRESULT CURIChannelGroupImpl::get_Recording(IRecording** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return owner()->QueryInterface(IID_IRecording, reinterpret_cast<void**>(pVal));
}

HRESULT CURIChannelGroupImpl::get_Index(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = index_;
  return S_OK;
}

// --- Protected operations ---------------------------------------------------

HRESULT CURIChannelGroupImpl::AddHNorm(double startTime, double xStep, LONG length) {
  auto* hnorm = new (std::nothrow) CURIHNormImpl(this, startTime, xStep, length);
  if (hnorm == nullptr) return E_OUTOFMEMORY;
  CURIHNormsImpl* hnorms = HNormsCollection();
  if (hnorms == nullptr) {
    delete hnorm;
    return E_OUTOFMEMORY;
  }
  return hnorms->Append(hnorm) ? S_OK : E_OUTOFMEMORY;
}

HRESULT CURIChannelGroupImpl::AddChannelInfo(CURIChannelInfoImpl* channel) {
  if (channel == nullptr) return E_POINTER;
  return channel_infos_->Append(channel) ? S_OK : E_OUTOFMEMORY;
}

HRESULT CURIChannelGroupImpl::MapChannelIndices(SAFEARRAY* channels, std::vector<LONG>* indices) {
  if (indices == nullptr) return E_POINTER;
  indices->clear();
  std::vector<mlr::ComPtr<IChannelInfo>> infos;
  HRESULT hr = mlr::model::ChannelInfosOf(channels, &infos);
  if (FAILED(hr)) return hr;
  try {
    indices->assign(infos.size() + 1, 0);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  indices->back() = -1;
  bool all_found = true;
  for (size_t i = 0; i < infos.size(); ++i) {
    CURIChannelInfoImpl* item = channel_infos_->FindItem(infos[i].get());
    if (item != nullptr) {
      (*indices)[i] = item->index();
    } else {
      all_found = false;
    }
  }
  return all_found ? S_OK : E_FAIL;
}

HRESULT CURIChannelGroupImpl::CallGetReducedMuxData(SAFEARRAY** ChInfo, LONG HNormIndex,
                                                    LONG FirstSample, LONG ItemCount,
                                                    LONG Reduction, LONG RequestReduction,
                                                    SAFEARRAY** Result) {
  if (Result == nullptr) return E_POINTER;
  const mlr::ApiEntries api = mlr::api_entry_table::Resolve();
  if (api.GetReducedMuxData == nullptr) return E_NOTIMPL;
  return api.GetReducedMuxData(static_cast<IChannelGroup*>(this), ChInfo, HNormIndex, FirstSample,
                               ItemCount, Reduction, RequestReduction, Result);
}
