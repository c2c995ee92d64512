// CURIChannelGroupsImpl: a recording's channel groups (`IChannelGroups`).
//
// Owned by its recording (made in the recording's constructor); owns the
// groups appended to it and deletes them with itself. Reference counts are
// forwarded to the recording.
//
// Members: Item(Index) - 1-based, the group as IChannelGroup; out of range
// gives S_OK with null. Parent - the recording as IRecording. Count.
// _NewEnum - an IEnumVARIANT over a snapshot of the groups' IDispatch.
// Every member answers E_POINTER for a null out pointer.
//
// Threading: as the recording (read-only after loading; Append is for the
// loading source only).
#pragma once

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/live_objects.h"
#include "model/owned_item_array.h"
#include "model/owned_ref_count.h"
#include "platform/win.h"

class CURIRecordingImpl;
class CURIChannelGroupImpl;

class CURIChannelGroupsImpl : public mlr::model::DispatchImplFor<IChannelGroups>,
                              public URI_ISupportErrorInfoImpl<&IID_IChannelGroups> {
 public:
  explicit CURIChannelGroupsImpl(CURIRecordingImpl* owner);
  virtual ~CURIChannelGroupsImpl();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IChannelGroup** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override;

  // For the owning recording: appends `group` (ownership passes in every
  // case) and sets its Index to the new count; false when it could not be
  // stored (the group is then deleted).
  bool Append(CURIChannelGroupImpl* group);
  // The group at a 1-based position, or null.
  CURIChannelGroupImpl* At(LONG index) const { return items_.At(index); }
  LONG size() const { return items_.size(); }
  CURIRecordingImpl* owner() const { return refs_.owner(); }

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIRecordingImpl> refs_;
  mlr::model::OwnedItemArray<CURIChannelGroupImpl> items_;
};
