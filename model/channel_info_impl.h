// CURIChannelInfoImpl: the generic channel (`IChannelInfo`).
//
// One channel of a group: its name (or, for an event channel, the names of
// its 16 bits), its unit, whether it is an event channel, and its vertical
// normsets. A source derives from it (the file reader's `CKrfChannelInfo`)
// and overrides `get_VNorms` (and, when it loads lazily, the name-dependent
// getters) to load before answering from the base.
//
// Ownership: made by a source with the channel group as owner and handed to
// the group's channel-infos collection, which deletes it. The channel owns
// its vertical-normset collection (made at the first normset or the first
// request). Reference counts are forwarded to the group.
//
// Base behaviour (E_POINTER first for every null out pointer):
//   Name(BitNumber): BitNumber (default: the long 0) is converted to a 32-bit
//     integer (a failed conversion leaves 0); entry 0 is the channel's name,
//     1 to 16 the bit names. A BitNumber outside 0..16 gives E_INVALIDARG.
//   Parent: the group's get_ChannelInfos.  ChannelGroup: the group as
//   IChannelGroup.  Index: 1-based position in the group (0 until added).
//   EventChannel: VARIANT_TRUE when the event flag is set.
//   SystemEventMask: 0 for every system event, S_OK.
//   VNorms: the normset collection (made if needed) as IVNorms; S_OK
//     whatever the query answered.
//   YUnits: copy of the unit.
//   GetSampleAtTime / GetValueAtTime: the exported data function of the same
//     name with this channel, through the API entry table (resolved first);
//     E_NOTIMPL when the entry is missing.
#pragma once

#include <memory>

#include "LegacyRecording.h"
#include "model/bstr_value.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/lazy_child.h"
#include "model/live_objects.h"
#include "model/owned_ref_count.h"
#include "platform/win.h"

class CURIChannelGroupImpl;
class CURIVNormsImpl;
class CURIVNormImpl;

class CURIChannelInfoImpl : public mlr::model::DispatchImplFor<IChannelInfo>,
                            public URI_ISupportErrorInfoImpl<&IID_IChannelInfo> {
 public:
  static constexpr LONG kNameCount = 17;  // the name and 16 bit names

  explicit CURIChannelInfoImpl(CURIChannelGroupImpl* owner);
  virtual ~CURIChannelInfoImpl();
  CURIChannelInfoImpl(const CURIChannelInfoImpl&) = delete;
  CURIChannelInfoImpl& operator=(const CURIChannelInfoImpl&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Name(VARIANT BitNumber, BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IChannelInfos** pVal) override;
  HRESULT STDMETHODCALLTYPE get_EventChannel(VARIANT_BOOL* pVal) override;
  HRESULT STDMETHODCALLTYPE get_SystemEventMask(kalSystemEvent SysEvent, SHORT* pVal) override;
  HRESULT STDMETHODCALLTYPE get_VNorms(IVNorms** pVal) override;
  HRESULT STDMETHODCALLTYPE get_YUnits(BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE GetSampleAtTime(double Time, SHORT* Value) override;
  HRESULT STDMETHODCALLTYPE GetValueAtTime(double Time, double* Value) override;
  HRESULT STDMETHODCALLTYPE get_ChannelGroup(IChannelGroup** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) override;

  CURIChannelGroupImpl* owner() const { return refs_.owner(); }
  // Set by the channel-infos collection when the channel is appended.
  void SetIndex(LONG index) { index_ = index; }
  LONG index() const { return index_; }

 protected:
  // --- Protected operations for channel sources ---------------------------

  // Adds a vertical normset (Y0, YStep, StartTime): makes a CURIVNormImpl
  // owned by this channel and passes it to AppendVNorm.
  HRESULT AddVNorm(double y0, double yStep, double startTime);
  // The overridable add operation: makes the normset collection if needed
  // and appends `vnorm` (ownership passes in every case); its Index becomes
  // the new count. Normsets must come in ascending time order (unchecked).
  // E_OUTOFMEMORY (vnorm deleted) when it cannot be stored.
  virtual HRESULT AppendVNorm(CURIVNormImpl* vnorm);

  // Names: 0 the channel's name, 1..16 the bit names of an event channel.
  // False for a bit number outside 0..16 or when the copy fails.
  bool SetName(LONG bitNumber, const OLECHAR* name);
  bool SetYUnits(const OLECHAR* units) { return yunits_.Assign(units); }
  void SetEventChannel(bool isEvent) { event_flag_ = isEvent ? 1 : 0; }

  const mlr::model::BstrValue& name(LONG bitNumber) const { return names_[bitNumber]; }
  const mlr::model::BstrValue& yunits() const { return yunits_; }
  bool is_event_channel() const { return event_flag_ != 0; }

  // The owned normset collection, made here if needed (null only when it
  // cannot be allocated).
  CURIVNormsImpl* VNormsCollection();

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIChannelGroupImpl> refs_;
  mlr::model::BstrValue names_[kNameCount];
  mlr::model::BstrValue yunits_;
  LONG event_flag_ = 0;
  LONG index_ = 0;
  mlr::model::LazyChild<CURIVNormsImpl> vnorms_;
};
