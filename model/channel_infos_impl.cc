#include "model/channel_infos_impl.h"

#include "model/channel_group_impl.h"
#include "model/channel_info_impl.h"
#include "model/query_interface.h"

CURIChannelInfosImpl::CURIChannelInfosImpl(CURIChannelGroupImpl* owner) : refs_(owner) {}

CURIChannelInfosImpl::~CURIChannelInfosImpl() = default;

HRESULT CURIChannelInfosImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IChannelInfos*>(this), {IID_IChannelInfos}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIChannelInfosImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIChannelInfosImpl::Release() { return refs_.Release(); }

HRESULT CURIChannelInfosImpl::get_Item(LONG Index, IChannelInfo** pVal) {
  return mlr::model::StoredItem<CURIChannelInfoImpl, IChannelInfo>(
      items_, Index, IID_IChannelInfo, reinterpret_cast<void**>(pVal));
}

HRESULT CURIChannelInfosImpl::get_Parent(IChannelGroup** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return owner()->QueryInterface(IID_IChannelGroup, reinterpret_cast<void**>(pVal));
}

HRESULT CURIChannelInfosImpl::get_Count(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = items_.size();
  return S_OK;
}

HRESULT CURIChannelInfosImpl::get__NewEnum(IUnknown** pVal) {
  return mlr::model::StoredEnum<CURIChannelInfoImpl, IChannelInfo>(items_, pVal);
}

bool CURIChannelInfosImpl::Append(CURIChannelInfoImpl* channel) {
  if (!items_.Append(channel)) return false;
  channel->SetIndex(items_.size());
  return true;
}

CURIChannelInfoImpl* CURIChannelInfosImpl::FindItem(IChannelInfo* channel) {
  if (channel == nullptr) return nullptr;
  IUnknown* self = nullptr;
  QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&self));
  LONG index = 0;
  channel->get_Index(&index);
  IChannelInfos* parent = nullptr;
  channel->get_Parent(&parent);
  IUnknown* parent_identity = nullptr;
  if (parent != nullptr) {
    parent->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&parent_identity));
  }
  CURIChannelInfoImpl* found = nullptr;
  if (index >= 1 && parent_identity != nullptr && parent_identity == self) found = items_.At(index);
  if (parent_identity != nullptr) parent_identity->Release();
  if (parent != nullptr) parent->Release();
  if (self != nullptr) self->Release();
  return found;
}
