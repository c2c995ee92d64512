// Physical-channel configuration: CURIPhysicalChannelsImpl
// (`IPhysicalChannels`) and CURIPhysicalChannelImpl (`IPhysicalChannel`).
//
// Every input of the acquisition hardware by board and channel number,
// whether it was stored, and from a stored input its IChannelInfo. A source
// makes the collection with the recording as owner, fills it with Add and
// hands it to the recording (CURIRecordingImpl::SetPhysicalChannels), which
// owns and deletes it; the collection owns its channels. Reference counts go
// channel -> collection -> recording.
//
// IPhysicalChannel (E_POINTER for a null out pointer): Channel, Board.
//   Name(BitNumber) as IChannelInfo::Name (0 the name, 1..16 bit names; a bit
//   number outside 0..16 gives E_INVALIDARG). Parent (the collection as
//   IPhysicalChannels). StorageEnabled (VARIANT_TRUE when the channel index
//   is nonzero). ChannelInfo (the collection's FindChannelInfo(Board,
//   Channel)).
// IPhysicalChannels: Item (1-based; out of range S_OK with null), Parent (the
//   recording as IRecording), Count, _NewEnum, FindChannelInfo(Board,
//   Channel, ChannelInfo): the first physical channel in collection order
//   with both numbers equal gives (group index, channel index); when none
//   matches, or the input was not stored (channel index below 1), or the
//   recording has no such group, S_OK with null; otherwise the group's
//   channel at that index (S_OK whatever the inner calls answered).
#pragma once

#include "LegacyRecording.h"
#include "model/bstr_value.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/live_objects.h"
#include "model/owned_item_array.h"
#include "model/owned_ref_count.h"
#include "platform/win.h"

class CURIRecordingImpl;
class CURIPhysicalChannelsImpl;

class CURIPhysicalChannelImpl : public mlr::model::DispatchImplFor<IPhysicalChannel>,
                                public URI_ISupportErrorInfoImpl<&IID_IPhysicalChannel> {
 public:
  static constexpr LONG kNameCount = 17;

  CURIPhysicalChannelImpl(CURIPhysicalChannelsImpl* owner, LONG board, LONG channel,
                          LONG groupIndex, LONG channelIndex);
  virtual ~CURIPhysicalChannelImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Channel(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Board(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Name(VARIANT BitNumber, BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IPhysicalChannels** pVal) override;
  HRESULT STDMETHODCALLTYPE get_StorageEnabled(VARIANT_BOOL* pVal) override;
  HRESULT STDMETHODCALLTYPE get_ChannelInfo(IChannelInfo** pVal) override;

  // 0 the name, 1..16 the bit names; false outside 0..16 or when the copy
  // fails.
  bool SetName(LONG bitNumber, const OLECHAR* name);
  void SetIndex(LONG index) { index_ = index; }
  LONG group_index() const { return group_index_; }
  LONG channel_index() const { return channel_index_; }

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIPhysicalChannelsImpl> refs_;
  LONG board_;
  LONG channel_;
  LONG index_ = 0;
  LONG group_index_;
  LONG channel_index_;
  mlr::model::BstrValue names_[kNameCount];
};

class CURIPhysicalChannelsImpl : public mlr::model::DispatchImplFor<IPhysicalChannels>,
                                 public URI_ISupportErrorInfoImpl<&IID_IPhysicalChannels> {
 public:
  explicit CURIPhysicalChannelsImpl(CURIRecordingImpl* owner);
  virtual ~CURIPhysicalChannelsImpl();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IPhysicalChannel** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE FindChannelInfo(LONG Board, LONG Channel,
                                            IChannelInfo** ChannelInfo) override;
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override;

  // Appends a physical channel (board, channel, 1-based group index and
  // channel index within that group, 0 when the input was not stored) with
  // its names (`names` holds up to 17 entries, null entries stay empty; may
  // be null). Its Index becomes the new count. Returns the new channel
  // (owned by the collection), or null when it could not be stored.
  CURIPhysicalChannelImpl* Add(LONG board, LONG channel, LONG groupIndex, LONG channelIndex,
                               const OLECHAR* const* names, LONG nameCount);
  CURIRecordingImpl* owner() const { return refs_.owner(); }

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIRecordingImpl> refs_;
  mlr::model::OwnedItemArray<CURIPhysicalChannelImpl> items_;
};
