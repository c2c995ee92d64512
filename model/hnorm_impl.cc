#include "model/hnorm_impl.h"

#include "model/channel_group_impl.h"
#include "model/normset_search.h"
#include "model/query_interface.h"

// --- CURIHNormImpl ----------------------------------------------------------

CURIHNormImpl::CURIHNormImpl(CURIChannelGroupImpl* owner, double startTime, double xStep,
                             LONG length)
    : refs_(owner), start_time_(startTime), x_step_(xStep), length_(length) {}

HRESULT CURIHNormImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IHNorm*>(this), {IID_IHNorm}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIHNormImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIHNormImpl::Release() { return refs_.Release(); }

HRESULT CURIHNormImpl::get_StartTime(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = start_time_;
  return S_OK;
}

HRESULT CURIHNormImpl::get_Parent(IHNorms** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->get_HNorms(pVal);
}

HRESULT CURIHNormImpl::get_Length(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = length_;
  return S_OK;
}

HRESULT CURIHNormImpl::get_Index(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = index_;
  return S_OK;
}

HRESULT CURIHNormImpl::get_XStep(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = x_step_;
  return S_OK;
}

HRESULT CURIHNormImpl::get_Duration(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  double x_step = 0.0;
  LONG length = 0;
  get_XStep(&x_step);
  get_Length(&length);
  // Length - 1 in 32-bit arithmetic, as the stored format defines it; the
  // wrap of Length = INT32_MIN is done unsigned to stay defined.
  const LONG frames = static_cast<LONG>(static_cast<ULONG>(length) - 1u);
  *pVal = x_step * frames;
  return S_OK;
}

HRESULT CURIHNormImpl::get_EndTime(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  double start = 0.0;
  double x_step = 0.0;
  LONG length = 0;
  get_StartTime(&start);
  get_XStep(&x_step);
  get_Length(&length);
  const LONG frames = static_cast<LONG>(static_cast<ULONG>(length) - 1u);
  *pVal = start + x_step * frames;
  return S_OK;
}

// --- CURIHNormsImpl ---------------------------------------------------------

CURIHNormsImpl::CURIHNormsImpl(CURIChannelGroupImpl* owner) : refs_(owner) {}

CURIHNormsImpl::~CURIHNormsImpl() = default;

HRESULT CURIHNormsImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IHNorms*>(this), {IID_IHNorms}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIHNormsImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIHNormsImpl::Release() { return refs_.Release(); }

HRESULT CURIHNormsImpl::get_Item(LONG Index, IHNorm** pVal) {
  return mlr::model::StoredItem<CURIHNormImpl, IHNorm>(items_, Index, IID_IHNorm,
                                                        reinterpret_cast<void**>(pVal));
}

HRESULT CURIHNormsImpl::get_Parent(IChannelGroup** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_IChannelGroup, reinterpret_cast<void**>(pVal));
}

HRESULT CURIHNormsImpl::get_Count(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = items_.size();
  return S_OK;
}

HRESULT CURIHNormsImpl::GetFirstEndingAfter(double dTime, IHNorm** HNorm) {
  return mlr::model::FirstEndingAfter<IHNorms, IHNorm>(this, dTime, HNorm);
}

HRESULT CURIHNormsImpl::GetLastStartingBefore(double dTime, IHNorm** HNorm) {
  return mlr::model::LastStartingBefore<IHNorms, IHNorm>(this, dTime, HNorm);
}

HRESULT CURIHNormsImpl::get__NewEnum(IUnknown** pVal) {
  return mlr::model::StoredEnum<CURIHNormImpl, IHNorm>(items_, pVal);
}

bool CURIHNormsImpl::Append(CURIHNormImpl* hnorm) {
  if (!items_.Append(hnorm)) return false;
  hnorm->SetIndex(items_.size());
  return true;
}
