// Horizontal normsets: CURIHNormImpl (`IHNorm`) and CURIHNormsImpl
// (`IHNorms`).
//
// A horizontal normset is one contiguous segment of a group's time axis: the
// time of its first sample (seconds since the recording's start), the time
// between two samples and the number of samples (frames). A group with an
// interrupted acquisition or a rate change has several, in ascending time
// order.
//
// Ownership: both belong to a channel group (owner) and forward their
// reference counts to it. The collection is owned by the group and owns the
// normsets; normsets are added only through the group's AddHNorm.
//
// IHNorm (E_POINTER for a null out pointer, else S_OK):
//   StartTime, XStep, Length, Index: the stored values (Index 1-based).
//   Parent: the group's get_HNorms.
//   Duration: XStep * (Length - 1), the subtraction in 32-bit integers; read
//     through this object's own XStep and Length getters. Length 1 gives 0,
//     Length 0 gives -XStep.
//   EndTime: StartTime + XStep * (Length - 1) through the own getters: the
//     time of the last sample, not the time after it.
//
// IHNorms: Item (1-based; out of range S_OK with null), Parent (the group as
// IChannelGroup), Count, _NewEnum, and the searches GetFirstEndingAfter and
// GetLastStartingBefore (model/normset_search.h: bisection over Count/Item,
// S_OK with null when nothing is found).
#pragma once

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/live_objects.h"
#include "model/owned_item_array.h"
#include "model/owned_ref_count.h"
#include "platform/win.h"

class CURIChannelGroupImpl;

class CURIHNormImpl : public mlr::model::DispatchImplFor<IHNorm>,
                      public URI_ISupportErrorInfoImpl<&IID_IHNorm> {
 public:
  CURIHNormImpl(CURIChannelGroupImpl* owner, double startTime, double xStep, LONG length);
  virtual ~CURIHNormImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IHNorms** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Length(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_XStep(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Duration(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) override;

  void SetIndex(LONG index) { index_ = index; }

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIChannelGroupImpl> refs_;
  double start_time_;
  double x_step_;
  LONG length_;
  LONG index_ = 0;
};

class CURIHNormsImpl : public mlr::model::DispatchImplFor<IHNorms>,
                       public URI_ISupportErrorInfoImpl<&IID_IHNorms> {
 public:
  explicit CURIHNormsImpl(CURIChannelGroupImpl* owner);
  virtual ~CURIHNormsImpl();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IHNorm** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IChannelGroup** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE GetFirstEndingAfter(double dTime, IHNorm** HNorm) override;
  HRESULT STDMETHODCALLTYPE GetLastStartingBefore(double dTime, IHNorm** HNorm) override;
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override;

  // Appends `hnorm` (ownership passes in every case) and sets its Index to
  // the new count; false (hnorm deleted) when it could not be stored.
  bool Append(CURIHNormImpl* hnorm);
  CURIHNormImpl* At(LONG index) const { return items_.At(index); }
  LONG size() const { return items_.size(); }

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIChannelGroupImpl> refs_;
  mlr::model::OwnedItemArray<CURIHNormImpl> items_;
};
