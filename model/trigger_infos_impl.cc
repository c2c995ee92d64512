#include "model/trigger_infos_impl.h"

#include <new>

#include "model/com_enum.h"
#include "model/item_hand_out.h"
#include "model/query_interface.h"
#include "model/recording_impl.h"

// --- CURITriggerInfoImpl ----------------------------------------------------

CURITriggerInfoImpl::CURITriggerInfoImpl(CURITriggerInfosImpl* owner, LONG index,
                                         const mlr::model::TriggerRecord& record)
    : refs_(owner), index_(index), record_(record) {}

HRESULT CURITriggerInfoImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<ITriggerInfo*>(this), {IID_ITimemark, IID_ITriggerInfo}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURITriggerInfoImpl::AddRef() { return refs_.AddRef(); }
ULONG CURITriggerInfoImpl::Release() {
  return refs_.Release([this] { delete this; });
}

HRESULT CURITriggerInfoImpl::get_Time(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = record_.time;
  return S_OK;
}

HRESULT CURITriggerInfoImpl::get_Index(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = index_;
  return S_OK;
}

HRESULT CURITriggerInfoImpl::get_Parent(ITriggerInfos** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_ITriggerInfos, reinterpret_cast<void**>(pVal));
}

HRESULT CURITriggerInfoImpl::get_Source(kalTriggerSource* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = static_cast<kalTriggerSource>(record_.source);
  return S_OK;
}

HRESULT CURITriggerInfoImpl::get_Name(BSTR* pVal) { return record_.name.Copy(pVal); }

HRESULT CURITriggerInfoImpl::get_ChannelInfo(IChannelInfo** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  if (record_.channel != nullptr) {
    record_.channel->QueryInterface(IID_IChannelInfo, reinterpret_cast<void**>(pVal));
  }
  return S_OK;
}

// --- CURITriggerInfosImpl ---------------------------------------------------

CURITriggerInfosImpl::CURITriggerInfosImpl(CURIRecordingImpl* owner) : refs_(owner) {}

HRESULT CURITriggerInfosImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<ITriggerInfos*>(this), {IID_ITimemarks, IID_ITriggerInfos}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURITriggerInfosImpl::AddRef() { return refs_.AddRef(); }
ULONG CURITriggerInfosImpl::Release() { return refs_.Release(); }

HRESULT CURITriggerInfosImpl::get_Item(LONG Index, IUnknown** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  if (Index < 1 || Index > records_.size()) return S_OK;
  return mlr::model::HandOutItem<ITriggerInfo>(
      new (std::nothrow) CURITriggerInfoImpl(this, Index, records_.at(Index - 1)), pVal);
}

HRESULT CURITriggerInfosImpl::get_Parent(IRecording** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_IRecording, reinterpret_cast<void**>(pVal));
}

HRESULT CURITriggerInfosImpl::get_Count(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = records_.size();
  return S_OK;
}

HRESULT CURITriggerInfosImpl::GetIndicesFromTime(double StartTime, double EndTime, LONG* First,
                                                 LONG* Last) {
  if (First == nullptr || Last == nullptr) return E_POINTER;
  records_.IndicesFromTime(StartTime, EndTime, First, Last);
  return S_OK;
}

HRESULT CURITriggerInfosImpl::get__NewEnum(IUnknown** pVal) {
  return CURIComEnumCollectionImpl<CURITriggerInfosImpl, IUnknown>::NewEnum(this, pVal);
}

bool CURITriggerInfosImpl::Add(double time, LONG source, const OLECHAR* name,
                               IChannelInfo* channel) {
  mlr::model::TriggerRecord record;
  record.time = time;
  record.source = source;
  record.channel = channel;
  if (!record.name.Assign(name)) return false;
  return records_.Insert(std::move(record), false) >= 0;
}
