// Vertical normsets: CURIVNormImpl (`IVNorm`) and CURIVNormsImpl (`IVNorms`).
//
// A vertical normset maps a channel's 16-bit integer samples to technical
// units from its start time on: value = Y0 + YStep * integer, until the next
// normset takes over.
//
// Ownership: both belong to a channel info (owner) and forward their
// reference counts to it. The collection is owned by the channel and owns
// the normsets; they are added through the channel's AddVNorm.
//
// IVNorm (E_POINTER for a null out pointer, else S_OK): StartTime, Index,
// Y0, YStep: the stored values. Parent: the channel's get_VNorms.
// EndTime: where the next normset of the collection starts; for the last
//   one, the group's EndTime plus 5 seconds. The five seconds are deliberate:
//   the last scaling stays valid a little past the group's last sample so
//   that searches at or just after the end still find it. Computed through
//   the interfaces (the channel's ChannelGroup, the group's EndTime, this
//   normset's Parent, the collection's Count and Item); their results are not
//   checked.
//
// IVNorms: Item (1-based; out of range S_OK with null), Parent (the channel
// as IChannelInfo), Count, GetFromTime (dispatch identifier 4; the normset
// valid at a time, model/normset_search.h), _NewEnum.
#pragma once

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/live_objects.h"
#include "model/owned_item_array.h"
#include "model/owned_ref_count.h"
#include "platform/win.h"

class CURIChannelInfoImpl;

class CURIVNormImpl : public mlr::model::DispatchImplFor<IVNorm>,
                      public URI_ISupportErrorInfoImpl<&IID_IVNorm> {
 public:
  // Seconds the last normset stays valid after its group's end.
  static constexpr double kTrailingValidity = 5.0;

  CURIVNormImpl(CURIChannelInfoImpl* owner, double y0, double yStep, double startTime);
  virtual ~CURIVNormImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IVNorms** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Y0(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_YStep(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) override;

  void SetIndex(LONG index) { index_ = index; }

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIChannelInfoImpl> refs_;
  double y0_;
  double y_step_;
  double start_time_;
  LONG index_ = 0;
};

class CURIVNormsImpl : public mlr::model::DispatchImplFor<IVNorms>,
                       public URI_ISupportErrorInfoImpl<&IID_IVNorms> {
 public:
  explicit CURIVNormsImpl(CURIChannelInfoImpl* owner);
  virtual ~CURIVNormsImpl();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IVNorm** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IChannelInfo** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE GetFromTime(double dTime, IVNorm** VNorm) override;
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override;

  bool Append(CURIVNormImpl* vnorm);
  CURIVNormImpl* At(LONG index) const { return items_.At(index); }
  LONG size() const { return items_.size(); }

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIChannelInfoImpl> refs_;
  mlr::model::OwnedItemArray<CURIVNormImpl> items_;
};
