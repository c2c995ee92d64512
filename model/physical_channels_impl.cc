#include "model/physical_channels_impl.h"

#include <new>

#include "model/bit_number.h"
#include "model/query_interface.h"
#include "model/recording_impl.h"

// --- CURIPhysicalChannelImpl ------------------------------------------------

CURIPhysicalChannelImpl::CURIPhysicalChannelImpl(CURIPhysicalChannelsImpl* owner, LONG board,
                                                 LONG channel, LONG groupIndex, LONG channelIndex)
    : refs_(owner),
      board_(board),
      channel_(channel),
      group_index_(groupIndex),
      channel_index_(channelIndex) {}

HRESULT CURIPhysicalChannelImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IPhysicalChannel*>(this), {IID_IPhysicalChannel}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIPhysicalChannelImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIPhysicalChannelImpl::Release() { return refs_.Release(); }

HRESULT CURIPhysicalChannelImpl::get_Channel(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = channel_;
  return S_OK;
}

HRESULT CURIPhysicalChannelImpl::get_Board(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = board_;
  return S_OK;
}

HRESULT CURIPhysicalChannelImpl::get_Name(VARIANT BitNumber, BSTR* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  const LONG bit = mlr::model::BitNumberFromVariant(BitNumber);
  if (bit < 0 || bit >= kNameCount) return E_INVALIDARG;
  return names_[bit].Copy(pVal);
}

HRESULT CURIPhysicalChannelImpl::get_Parent(IPhysicalChannels** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_IPhysicalChannels, reinterpret_cast<void**>(pVal));
}

HRESULT CURIPhysicalChannelImpl::get_StorageEnabled(VARIANT_BOOL* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = channel_index_ != 0 ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

HRESULT CURIPhysicalChannelImpl::get_ChannelInfo(IChannelInfo** pVal) {
  return refs_.owner()->FindChannelInfo(board_, channel_, pVal);
}

bool CURIPhysicalChannelImpl::SetName(LONG bitNumber, const OLECHAR* name) {
  if (bitNumber < 0 || bitNumber >= kNameCount) return false;
  return names_[bitNumber].Assign(name);
}

// --- CURIPhysicalChannelsImpl -----------------------------------------------

CURIPhysicalChannelsImpl::CURIPhysicalChannelsImpl(CURIRecordingImpl* owner) : refs_(owner) {}

CURIPhysicalChannelsImpl::~CURIPhysicalChannelsImpl() = default;

HRESULT CURIPhysicalChannelsImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IPhysicalChannels*>(this), {IID_IPhysicalChannels}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIPhysicalChannelsImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIPhysicalChannelsImpl::Release() { return refs_.Release(); }

HRESULT CURIPhysicalChannelsImpl::get_Item(LONG Index, IPhysicalChannel** pVal) {
  return mlr::model::StoredItem<CURIPhysicalChannelImpl, IPhysicalChannel>(
      items_, Index, IID_IPhysicalChannel, reinterpret_cast<void**>(pVal));
}

HRESULT CURIPhysicalChannelsImpl::get_Parent(IRecording** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return owner()->QueryInterface(IID_IRecording, reinterpret_cast<void**>(pVal));
}

HRESULT CURIPhysicalChannelsImpl::get_Count(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = items_.size();
  return S_OK;
}

HRESULT CURIPhysicalChannelsImpl::FindChannelInfo(LONG Board, LONG Channel,
                                                  IChannelInfo** ChannelInfo) {
  if (ChannelInfo == nullptr) return E_POINTER;
  *ChannelInfo = nullptr;
  LONG group_index = 0;
  LONG channel_index = 0;
  bool matched = false;
  for (CURIPhysicalChannelImpl* physical : items_.items()) {
    LONG board = 0;
    LONG channel = 0;
    physical->get_Channel(&channel);
    physical->get_Board(&board);
    if (board == Board && channel == Channel) {
      group_index = physical->group_index();
      channel_index = physical->channel_index();
      matched = true;
      break;
    }
  }
  if (!matched || channel_index < 1) return S_OK;
  IChannelGroups* groups = nullptr;
  owner()->get_ChannelGroups(&groups);
  if (groups == nullptr) return S_OK;
  IChannelGroup* group = nullptr;
  groups->get_Item(group_index, &group);
  if (group != nullptr) {
    IChannelInfos* channels = nullptr;
    group->get_ChannelInfos(&channels);
    if (channels != nullptr) {
      channels->get_Item(channel_index, ChannelInfo);
      channels->Release();
    }
    group->Release();
  }
  groups->Release();
  return S_OK;
}

HRESULT CURIPhysicalChannelsImpl::get__NewEnum(IUnknown** pVal) {
  return mlr::model::StoredEnum<CURIPhysicalChannelImpl, IPhysicalChannel>(items_, pVal);
}

CURIPhysicalChannelImpl* CURIPhysicalChannelsImpl::Add(LONG board, LONG channel, LONG groupIndex,
                                                       LONG channelIndex,
                                                       const OLECHAR* const* names,
                                                       LONG nameCount) {
  auto* physical =
      new (std::nothrow) CURIPhysicalChannelImpl(this, board, channel, groupIndex, channelIndex);
  if (physical == nullptr) return nullptr;
  for (LONG i = 0; names != nullptr && i < nameCount && i < CURIPhysicalChannelImpl::kNameCount;
       ++i) {
    physical->SetName(i, names[i]);
  }
  if (!items_.Append(physical)) return nullptr;
  physical->SetIndex(items_.size());
  return physical;
}
