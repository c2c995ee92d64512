// CURIChannelGroupImpl: the generic channel group (`IChannelGroup`).
//
// One multiplexed stream of 16-bit samples of several channels at one rate.
// The generic class holds the group's channel infos and horizontal normsets
// in memory and computes start, end and duration from them; it has no
// samples. A source derives from it (the file reader's `CKrfChannelGroup`,
// `CMemoryChannelGroup`) and overrides `get_HNorms`, `get_ChannelInfos`
// (to load lazily before answering from the base), `GetBestReductionFactor`
// and `GetMuxData`.
//
// Ownership: made by a source with the recording as owner and handed to the
// recording's groups collection, which deletes it. The group owns its
// channel-infos collection (made in the constructor) and its horizontal
// normsets collection (made at the first normset or first request).
// Reference counts are forwarded to the recording; the group never deletes
// itself.
//
// Base behaviour (E_POINTER first for every null out pointer):
//   Parent: the recording's get_ChannelGroups.  Recording: the recording as
//   IRecording.  Index: 1-based position in the groups collection (0 until
//   added).  ChannelInfos: the channel-infos collection.  HNorms: the normset
//   collection (made if needed).
//   StartTime / EndTime: *pVal = 0.0; through this object's own get_HNorms
//     (its failure is returned); then the StartTime of normset 1 / the
//     EndTime of normset Count with S_OK. Without normsets the answer is 0.0
//     with the bare value 10202 (0x27DA, the number of the message "No
//     horizontal normsets", success severity): deliberately not an error
//     status, so callers that only test FAILED() go on with 0.0.
//   Duration: EndTime - StartTime through the interface, unchecked.
//   GetBestReductionFactor: S_OK, *ReductionFactor unchanged.
//   GetMuxData: E_NOTIMPL (E_POINTER for a null Result).
//   GetScaledMuxData, GetResampledMuxData, GetDisplayData: the exported data
//     function of the same name called with this group through the API entry
//     table (resolved first); E_NOTIMPL when the entry is missing.
//
// Threading: free-threaded; the normset collection is made on first use
// without a lock, one kept for all racing callers (model/lazy_child.h).
#pragma once

#include <memory>
#include <vector>

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/lazy_child.h"
#include "model/live_objects.h"
#include "model/owned_ref_count.h"
#include "platform/win.h"

class CURIRecordingImpl;
class CURIChannelInfosImpl;
class CURIChannelInfoImpl;
class CURIHNormsImpl;
class CURIHNormImpl;

class CURIChannelGroupImpl : public mlr::model::DispatchImplFor<IChannelGroup>,
                             public URI_ISupportErrorInfoImpl<&IID_IChannelGroup> {
 public:
  // Throws std::bad_alloc when the channel-infos collection cannot be made.
  explicit CURIChannelGroupImpl(CURIRecordingImpl* owner);
  virtual ~CURIChannelGroupImpl();
  CURIChannelGroupImpl(const CURIChannelGroupImpl&) = delete;
  CURIChannelGroupImpl& operator=(const CURIChannelGroupImpl&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Parent(IChannelGroups** pVal) override;
  HRESULT STDMETHODCALLTYPE get_HNorms(IHNorms** pVal) override;
  HRESULT STDMETHODCALLTYPE get_ChannelInfos(IChannelInfos** pVal) override;
  HRESULT STDMETHODCALLTYPE GetBestReductionFactor(LONG HNormIndex, LONG* ReductionFactor) override;
  HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Duration(double* pVal) override;
  HRESULT STDMETHODCALLTYPE GetMuxData(SAFEARRAY** ChInfo, LONG HNormIndex, LONG FirstSample,
                                       LONG ItemCount, LONG Reduction, SAFEARRAY** Result) override;
  HRESULT STDMETHODCALLTYPE GetScaledMuxData(SAFEARRAY** ChInfo, LONG HNormIndex, LONG FirstSample,
                                             LONG ItemCount, LONG Reduction,
                                             SAFEARRAY** Result) override;
  HRESULT STDMETHODCALLTYPE GetResampledMuxData(SAFEARRAY** ChInfo, LONG HNormIndex,
                                                LONG FirstSample, LONG ItemCount, LONG Resample,
                                                SAFEARRAY** Result) override;
  HRESULT STDMETHODCALLTYPE GetDisplayData(IChannelInfo* ChInfo, double StartTime, double EndTime,
                                           LONG Count, SAFEARRAY** Result) override;
  HRESULT STDMETHODCALLTYPE get_Recording(IRecording** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) override;

  CURIRecordingImpl* owner() const { return refs_.owner(); }
  // Set by the groups collection when the group is appended.
  void SetIndex(LONG index) { index_ = index; }

 protected:
  // --- Protected operations for channel-group sources ---------------------

  // Adds a horizontal normset (StartTime, XStep, Length) owned by this group,
  // making the normset collection if needed; its Index becomes the new
  // count. Normsets must be added in ascending time order (not checked).
  // E_OUTOFMEMORY when it cannot be stored.
  HRESULT AddHNorm(double startTime, double xStep, LONG length);

  // Appends `channel` (made with this group as owner; ownership passes in
  // every case) to the channel-infos collection; its Index becomes the new
  // count. E_OUTOFMEMORY (channel deleted) when it cannot be stored.
  HRESULT AddChannelInfo(CURIChannelInfoImpl* channel);

  // Channel-index mapping for GetMuxData: `channels` is a one-dimensional
  // safe array of channel infos (VT_DISPATCH or VT_UNKNOWN elements, or
  // VT_VARIANT elements holding one). `indices` receives n + 1 values: the
  // 1-based Index within this group of each element, or 0 for an element
  // that does not belong to this group, then -1. E_FAIL when any element
  // was not found (the mapping is complete all the same), E_INVALIDARG for a
  // null or unsuitable array, the failure of SafeArrayAccessData as it
  // stands, E_OUTOFMEMORY.
  HRESULT MapChannelIndices(SAFEARRAY* channels, std::vector<LONG>* indices);

  // The data function GetReducedMuxData(this, ChInfo, HNormIndex,
  // FirstSample, ItemCount, Reduction, RequestReduction, Result) through the
  // API entry table (resolved first): E_POINTER for a null Result, E_NOTIMPL
  // when the entry is missing.
  HRESULT CallGetReducedMuxData(SAFEARRAY** ChInfo, LONG HNormIndex, LONG FirstSample,
                                LONG ItemCount, LONG Reduction, LONG RequestReduction,
                                SAFEARRAY** Result);

  // The owned collections (the normsets made here if needed; null only when
  // they cannot be allocated).
  CURIChannelInfosImpl* ChannelInfosCollection() const { return channel_infos_.get(); }
  CURIHNormsImpl* HNormsCollection();

 private:
  // StartTime (`last` false) or EndTime (`last` true) as described above.
  HRESULT OuterNormsetTime(bool last, double* pVal);

  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIRecordingImpl> refs_;
  LONG index_ = 0;
  std::unique_ptr<CURIChannelInfosImpl> channel_infos_;
  mlr::model::LazyChild<CURIHNormsImpl> hnorms_;
};
