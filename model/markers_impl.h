// Markers: CURIMarkersImpl (`IMarkers`, an `ITimemarks`) and its item
// objects CURIMarkerImpl (`IMarker`, an `ITimemark`).
//
// The collection keeps the marker times in ascending order; it is owned by
// the recording (made on first use) and forwards its reference counts to it.
// Item objects are made anew on each Item call, count their own references,
// delete themselves at zero and pass every AddRef/Release on to the
// collection.
//
// IMarkers: Item(Index) - 1-based, a new marker (an IMarker pointer in the
//   IUnknown out parameter). Unlike every other collection, an index out of
//   range gives E_INVALIDARG (with null): clients of markers test the
//   status. Parent (the recording as IRecording), Count, GetIndicesFromTime
//   (as for triggers), _NewEnum (snapshot through Count and Item).
//   Add(dTime): the ordered insertion with the markers' equality test (see
//   model/time_ordered_array.h: an exact repeat is normally inserted after
//   its twin); always S_OK.
// IMarker: Index - the stored index. Time - read from the collection at
//   that index on every call: after an insertion before it, the marker reads
//   the time now standing at its index; an index no longer in range reads
//   0.0 with S_OK. Parent - the collection as IMarkers.
#pragma once

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/live_objects.h"
#include "model/owned_ref_count.h"
#include "model/time_ordered_array.h"
#include "platform/win.h"

class CURIRecordingImpl;
class CURIMarkersImpl;

namespace mlr::model {
struct MarkerRecord {
  double time = 0.0;
};
}  // namespace mlr::model

class CURIMarkerImpl : public mlr::model::DispatchImplFor<IMarker>,
                       public URI_ISupportErrorInfoImpl<&IID_IMarker> {
 public:
  CURIMarkerImpl(CURIMarkersImpl* owner, LONG index);
  virtual ~CURIMarkerImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Time(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IMarkers** pVal) override;

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ItemRefCount<CURIMarkersImpl> refs_;
  LONG index_;
};

class CURIMarkersImpl : public mlr::model::DispatchImplFor<IMarkers>,
                        public URI_ISupportErrorInfoImpl<&IID_IMarkers> {
 public:
  explicit CURIMarkersImpl(CURIRecordingImpl* owner);
  virtual ~CURIMarkersImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IUnknown** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE GetIndicesFromTime(double StartTime, double EndTime, LONG* First,
                                               LONG* Last) override;
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override;
  HRESULT STDMETHODCALLTYPE Add(double dTime) override;

  // The time at a 1-based index; false outside 1..Count.
  bool TimeAt(LONG index, double* time) const;

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIRecordingImpl> refs_;
  mlr::model::TimeOrderedArray<mlr::model::MarkerRecord> records_;
};
