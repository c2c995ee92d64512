#include "model/vnorm_impl.h"

#include "model/channel_info_impl.h"
#include "model/normset_search.h"
#include "model/query_interface.h"

// --- CURIVNormImpl ----------------------------------------------------------

CURIVNormImpl::CURIVNormImpl(CURIChannelInfoImpl* owner, double y0, double yStep, double startTime)
    : refs_(owner), y0_(y0), y_step_(yStep), start_time_(startTime) {}

HRESULT CURIVNormImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IVNorm*>(this), {IID_IVNorm}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIVNormImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIVNormImpl::Release() { return refs_.Release(); }

HRESULT CURIVNormImpl::get_StartTime(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = start_time_;
  return S_OK;
}

HRESULT CURIVNormImpl::get_Parent(IVNorms** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->get_VNorms(pVal);
}

HRESULT CURIVNormImpl::get_Index(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = index_;
  return S_OK;
}

HRESULT CURIVNormImpl::get_Y0(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = y0_;
  return S_OK;
}

HRESULT CURIVNormImpl::get_YStep(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = y_step_;
  return S_OK;
}

HRESULT CURIVNormImpl::get_EndTime(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  double value = 0.0;
  IChannelGroup* group = nullptr;
  refs_.owner()->get_ChannelGroup(&group);
  if (group != nullptr) {
    group->get_EndTime(&value);
    group->Release();
  }
  value += kTrailingValidity;
  IVNorms* vnorms = nullptr;
  get_Parent(&vnorms);
  if (vnorms != nullptr) {
    LONG count = 0;
    vnorms->get_Count(&count);
    if (index_ < count) {
      IVNorm* next = nullptr;
      vnorms->get_Item(index_ + 1, &next);
      if (next != nullptr) {
        next->get_StartTime(&value);
        next->Release();
      }
    }
    vnorms->Release();
  }
  *pVal = value;
  return S_OK;
}

// --- CURIVNormsImpl ---------------------------------------------------------

CURIVNormsImpl::CURIVNormsImpl(CURIChannelInfoImpl* owner) : refs_(owner) {}

CURIVNormsImpl::~CURIVNormsImpl() = default;

HRESULT CURIVNormsImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IVNorms*>(this), {IID_IVNorms}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIVNormsImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIVNormsImpl::Release() { return refs_.Release(); }

HRESULT CURIVNormsImpl::get_Item(LONG Index, IVNorm** pVal) {
  return mlr::model::StoredItem<CURIVNormImpl, IVNorm>(items_, Index, IID_IVNorm,
                                                        reinterpret_cast<void**>(pVal));
}

HRESULT CURIVNormsImpl::get_Parent(IChannelInfo** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_IChannelInfo, reinterpret_cast<void**>(pVal));
}

HRESULT CURIVNormsImpl::get_Count(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = items_.size();
  return S_OK;
}

HRESULT CURIVNormsImpl::GetFromTime(double dTime, IVNorm** VNorm) {
  return mlr::model::ValidAtTime<IVNorms, IVNorm>(this, dTime, VNorm);
}

HRESULT CURIVNormsImpl::get__NewEnum(IUnknown** pVal) {
  return mlr::model::StoredEnum<CURIVNormImpl, IVNorm>(items_, pVal);
}

bool CURIVNormsImpl::Append(CURIVNormImpl* vnorm) {
  if (!items_.Append(vnorm)) return false;
  vnorm->SetIndex(items_.size());
  return true;
}
