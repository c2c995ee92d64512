#include "model/markers_impl.h"

#include <new>

#include "model/com_enum.h"
#include "model/item_hand_out.h"
#include "model/query_interface.h"
#include "model/recording_impl.h"

// --- CURIMarkerImpl ---------------------------------------------------------

CURIMarkerImpl::CURIMarkerImpl(CURIMarkersImpl* owner, LONG index) : refs_(owner), index_(index) {}

HRESULT CURIMarkerImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IMarker*>(this), {IID_ITimemark, IID_IMarker}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIMarkerImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIMarkerImpl::Release() {
  return refs_.Release([this] { delete this; });
}

HRESULT CURIMarkerImpl::get_Time(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  if (!refs_.owner()->TimeAt(index_, pVal)) *pVal = 0.0;
  return S_OK;
}

HRESULT CURIMarkerImpl::get_Index(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = index_;
  return S_OK;
}

HRESULT CURIMarkerImpl::get_Parent(IMarkers** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_IMarkers, reinterpret_cast<void**>(pVal));
}

// --- CURIMarkersImpl --------------------------------------------------------

CURIMarkersImpl::CURIMarkersImpl(CURIRecordingImpl* owner) : refs_(owner) {}

HRESULT CURIMarkersImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IMarkers*>(this), {IID_ITimemarks, IID_IMarkers}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIMarkersImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIMarkersImpl::Release() { return refs_.Release(); }

HRESULT CURIMarkersImpl::get_Item(LONG Index, IUnknown** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  if (Index < 1 || Index > records_.size()) return E_INVALIDARG;
  return mlr::model::HandOutItem<IMarker>(new (std::nothrow) CURIMarkerImpl(this, Index), pVal);
}

HRESULT CURIMarkersImpl::get_Parent(IRecording** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_IRecording, reinterpret_cast<void**>(pVal));
}

HRESULT CURIMarkersImpl::get_Count(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = records_.size();
  return S_OK;
}

HRESULT CURIMarkersImpl::GetIndicesFromTime(double StartTime, double EndTime, LONG* First,
                                            LONG* Last) {
  if (First == nullptr || Last == nullptr) return E_POINTER;
  records_.IndicesFromTime(StartTime, EndTime, First, Last);
  return S_OK;
}

HRESULT CURIMarkersImpl::get__NewEnum(IUnknown** pVal) {
  return CURIComEnumCollectionImpl<CURIMarkersImpl, IUnknown>::NewEnum(this, pVal);
}

HRESULT CURIMarkersImpl::Add(double dTime) {
  mlr::model::MarkerRecord record;
  record.time = dTime;
  records_.Insert(record, true);
  return S_OK;
}

bool CURIMarkersImpl::TimeAt(LONG index, double* time) const {
  if (index < 1 || index > records_.size()) return false;
  *time = records_.at(index - 1).time;
  return true;
}
