#include "model/channel_info_impl.h"

#include <new>

#include "model/api_entry_table.h"
#include "model/bit_number.h"
#include "model/channel_group_impl.h"
#include "model/query_interface.h"
#include "model/vnorm_impl.h"


CURIChannelInfoImpl::CURIChannelInfoImpl(CURIChannelGroupImpl* owner) : refs_(owner) {}

CURIChannelInfoImpl::~CURIChannelInfoImpl() = default;

HRESULT CURIChannelInfoImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IChannelInfo*>(this), {IID_IChannelInfo}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIChannelInfoImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIChannelInfoImpl::Release() { return refs_.Release(); }

HRESULT CURIChannelInfoImpl::get_Name(VARIANT BitNumber, BSTR* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  const LONG bit = mlr::model::BitNumberFromVariant(BitNumber);
  if (bit < 0 || bit >= kNameCount) return E_INVALIDARG;
  return names_[bit].Copy(pVal);
}

HRESULT CURIChannelInfoImpl::get_Parent(IChannelInfos** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return owner()->get_ChannelInfos(pVal);
}

HRESULT CURIChannelInfoImpl::get_EventChannel(VARIANT_BOOL* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = event_flag_ != 0 ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

HRESULT CURIChannelInfoImpl::get_SystemEventMask(kalSystemEvent, SHORT* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = 0;
  return S_OK;
}

CURIVNormsImpl* CURIChannelInfoImpl::VNormsCollection() {
  return vnorms_.GetOrCreate(this);
}

HRESULT CURIChannelInfoImpl::get_VNorms(IVNorms** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  if (CURIVNormsImpl* vnorms = VNormsCollection()) {
    vnorms->QueryInterface(IID_IVNorms, reinterpret_cast<void**>(pVal));
  }
  return S_OK;
}

HRESULT CURIChannelInfoImpl::get_YUnits(BSTR* pVal) { return yunits_.Copy(pVal); }

HRESULT CURIChannelInfoImpl::GetSampleAtTime(double Time, SHORT* Value) {
  if (Value == nullptr) return E_POINTER;
  const mlr::ApiEntries api = mlr::api_entry_table::Resolve();
  if (api.GetSampleAtTime == nullptr) return E_NOTIMPL;
  return api.GetSampleAtTime(static_cast<IChannelInfo*>(this), Time, Value);
}

HRESULT CURIChannelInfoImpl::GetValueAtTime(double Time, double* Value) {
  if (Value == nullptr) return E_POINTER;
  const mlr::ApiEntries api = mlr::api_entry_table::Resolve();
  if (api.GetValueAtTime == nullptr) return E_NOTIMPL;
  return api.GetValueAtTime(static_cast<IChannelInfo*>(this), Time, Value);
}

HRESULT CURIChannelInfoImpl::get_ChannelGroup(IChannelGroup** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return owner()->QueryInterface(IID_IChannelGroup, reinterpret_cast<void**>(pVal));
}

HRESULT CURIChannelInfoImpl::get_Index(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = index_;
  return S_OK;
}

// --- Protected operations ---------------------------------------------------

HRESULT CURIChannelInfoImpl::AddVNorm(double y0, double yStep, double startTime) {
  auto* vnorm = new (std::nothrow) CURIVNormImpl(this, y0, yStep, startTime);
  if (vnorm == nullptr) return E_OUTOFMEMORY;
  return AppendVNorm(vnorm);
}

HRESULT CURIChannelInfoImpl::AppendVNorm(CURIVNormImpl* vnorm) {
  if (vnorm == nullptr) return E_POINTER;
  CURIVNormsImpl* vnorms = VNormsCollection();
  if (vnorms == nullptr) {
    delete vnorm;
    return E_OUTOFMEMORY;
  }
  return vnorms->Append(vnorm) ? S_OK : E_OUTOFMEMORY;
}

bool CURIChannelInfoImpl::SetName(LONG bitNumber, const OLECHAR* name) {
  if (bitNumber < 0 || bitNumber >= kNameCount) return false;
  return names_[bitNumber].Assign(name);
}
