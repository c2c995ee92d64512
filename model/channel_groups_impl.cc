#include "model/channel_groups_impl.h"

#include "model/channel_group_impl.h"
#include "model/query_interface.h"
#include "model/recording_impl.h"

CURIChannelGroupsImpl::CURIChannelGroupsImpl(CURIRecordingImpl* owner) : refs_(owner) {}

CURIChannelGroupsImpl::~CURIChannelGroupsImpl() = default;

HRESULT CURIChannelGroupsImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IChannelGroups*>(this), {IID_IChannelGroups}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIChannelGroupsImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIChannelGroupsImpl::Release() { return refs_.Release(); }

HRESULT CURIChannelGroupsImpl::get_Item(LONG Index, IChannelGroup** pVal) {
  return mlr::model::StoredItem<CURIChannelGroupImpl, IChannelGroup>(
      items_, Index, IID_IChannelGroup, reinterpret_cast<void**>(pVal));
}

HRESULT CURIChannelGroupsImpl::get_Parent(IRecording** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return owner()->QueryInterface(IID_IRecording, reinterpret_cast<void**>(pVal));
}

HRESULT CURIChannelGroupsImpl::get_Count(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = items_.size();
  return S_OK;
}

HRESULT CURIChannelGroupsImpl::get__NewEnum(IUnknown** pVal) {
  return mlr::model::StoredEnum<CURIChannelGroupImpl, IChannelGroup>(items_, pVal);
}

bool CURIChannelGroupsImpl::Append(CURIChannelGroupImpl* group) {
  if (!items_.Append(group)) return false;
  group->SetIndex(items_.size());
  return true;
}
