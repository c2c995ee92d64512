// CURIChannelInfosImpl: a channel group's channels (`IChannelInfos`).
//
// Owned by its group (made in the group's constructor); owns the channel
// infos appended to it. Reference counts are forwarded to the group (and so
// to the recording).
//
// Members: Item(Index) - 1-based, the channel as IChannelInfo; out of range
// gives S_OK with null. Parent - the group as IChannelGroup. Count.
// _NewEnum - IEnumVARIANT over a snapshot. E_POINTER for null out pointers.
#pragma once

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/live_objects.h"
#include "model/owned_item_array.h"
#include "model/owned_ref_count.h"
#include "platform/win.h"

class CURIChannelGroupImpl;
class CURIChannelInfoImpl;

class CURIChannelInfosImpl : public mlr::model::DispatchImplFor<IChannelInfos>,
                             public URI_ISupportErrorInfoImpl<&IID_IChannelInfos> {
 public:
  explicit CURIChannelInfosImpl(CURIChannelGroupImpl* owner);
  virtual ~CURIChannelInfosImpl();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IChannelInfo** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IChannelGroup** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override;

  // Appends `channel` (ownership passes in every case) and sets its Index to
  // the new count; false when it could not be stored (channel deleted).
  bool Append(CURIChannelInfoImpl* channel);

  // The item object of this collection that `channel` is, or null: the
  // channel's Index (at least 1) must name a position of this collection and
  // its Parent must be this collection (same IUnknown identity). Works
  // through the interfaces, so any IChannelInfo may be passed; a null one
  // gives null. Takes no reference.
  CURIChannelInfoImpl* FindItem(IChannelInfo* channel);

  CURIChannelInfoImpl* At(LONG index) const { return items_.At(index); }
  LONG size() const { return items_.size(); }
  CURIChannelGroupImpl* owner() const { return refs_.owner(); }

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIChannelGroupImpl> refs_;
  mlr::model::OwnedItemArray<CURIChannelInfoImpl> items_;
};
