#include "model/recording_impl.h"

#include <new>
#include <string>

#include "model/api_entry_table.h"
#include "model/bookmarks_impl.h"
#include "model/channel_group_impl.h"
#include "model/channel_groups_impl.h"
#include "model/markers_impl.h"
#include "model/physical_channels_impl.h"
#include "model/query_interface.h"
#include "model/trigger_infos_impl.h"

namespace {

// The value of `IRecording::Collection` that names the channel groups; it has
// no constant in kalRecordingCollection.
constexpr LONG kCollectionChannelGroups = 1;
constexpr double kNoStart = 1e200;
constexpr double kNoEnd = -1e200;

template <class T>
HRESULT QueryUnknown(T* object, IUnknown** pVal) {
  if (object == nullptr) return S_OK;
  return object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(pVal));
}

}  // namespace

CURIRecordingImpl::CURIRecordingImpl() : groups_(new CURIChannelGroupsImpl(this)) {}

CURIRecordingImpl::~CURIRecordingImpl() = default;

HRESULT CURIRecordingImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IRecording*>(this), {IID_IRecording}, riid, ppv,
      {{IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIRecordingImpl::AddRef() { return refs_.Increment(); }

ULONG CURIRecordingImpl::Release() {
  const ULONG left = refs_.Decrement();
  if (left == 0) delete this;
  return left;
}

HRESULT CURIRecordingImpl::get_Title(BSTR* pVal) { return title_.Copy(pVal); }
HRESULT CURIRecordingImpl::put_Title(BSTR) { return S_OK; }

HRESULT CURIRecordingImpl::get_Parent(IDispatch** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return S_OK;
}

HRESULT CURIRecordingImpl::get_Location(BSTR* pVal) { return location_.Copy(pVal); }
HRESULT CURIRecordingImpl::get_Extension(BSTR* pVal) { return extension_.Copy(pVal); }

HRESULT CURIRecordingImpl::get_ChannelGroups(IChannelGroups** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  groups_->QueryInterface(IID_IChannelGroups, reinterpret_cast<void**>(pVal));
  return S_OK;
}

HRESULT CURIRecordingImpl::get_WriteProtect(VARIANT_BOOL* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = VARIANT_TRUE;
  return S_OK;
}
HRESULT CURIRecordingImpl::put_WriteProtect(VARIANT_BOOL) { return S_OK; }

HRESULT CURIRecordingImpl::get_TotalSize(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = 0;
  // Deliberately reads the table as it stands: the estimate is available only
  // once another member has resolved the entries.
  const mlr::ApiEntries api = mlr::api_entry_table::Peek();
  if (api.GetEstimatedTotalSize == nullptr) return S_OK;
  return api.GetEstimatedTotalSize(static_cast<IRecording*>(this), -1e200, 1e200, pVal);
}

HRESULT CURIRecordingImpl::get_XUnits(BSTR* pVal) { return xunits_.Copy(pVal); }

HRESULT CURIRecordingImpl::get_UTCYear(SHORT* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = utc_year_;
  return S_OK;
}
HRESULT CURIRecordingImpl::put_UTCYear(SHORT) { return S_OK; }

HRESULT CURIRecordingImpl::get_UTCYearDay(SHORT* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = utc_year_day_;
  return S_OK;
}
HRESULT CURIRecordingImpl::put_UTCYearDay(SHORT) { return S_OK; }

HRESULT CURIRecordingImpl::get_UTCTimeOfDay(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = utc_time_of_day_;
  return S_OK;
}
HRESULT CURIRecordingImpl::put_UTCTimeOfDay(double) { return S_OK; }

HRESULT CURIRecordingImpl::get_Acquiring(VARIANT_BOOL* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = VARIANT_FALSE;
  return S_OK;
}

HRESULT CURIRecordingImpl::get_CanBeReviewed(VARIANT_BOOL* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = VARIANT_TRUE;
  return S_OK;
}

HRESULT CURIRecordingImpl::GroupsExtreme(bool minimum, double* pVal) {
  double extreme = minimum ? kNoStart : kNoEnd;
  IChannelGroups* groups = nullptr;
  HRESULT hr = get_ChannelGroups(&groups);
  if (FAILED(hr)) return hr;
  if (groups == nullptr) return E_POINTER;
  LONG count = 0;
  groups->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    IChannelGroup* group = nullptr;
    groups->get_Item(i, &group);
    if (group == nullptr) continue;
    double value = extreme;
    // The group's status is not looked at: a group without normsets answers
    // 0.0 with a bare message number, and that 0.0 takes part.
    if (minimum) {
      group->get_StartTime(&value);
    } else {
      group->get_EndTime(&value);
    }
    group->Release();
    if (minimum ? value < extreme : value > extreme) extreme = value;
  }
  groups->Release();
  *pVal = extreme;
  return S_OK;
}

HRESULT CURIRecordingImpl::get_StartTime(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  return GroupsExtreme(true, pVal);
}

HRESULT CURIRecordingImpl::get_EndTime(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  return GroupsExtreme(false, pVal);
}

HRESULT CURIRecordingImpl::get_Duration(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  double start = 0.0;
  double end = 0.0;
  get_StartTime(&start);
  get_EndTime(&end);
  *pVal = end - start;
  return S_OK;
}

HRESULT CURIRecordingImpl::get_TimePerDivisionHint(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = 1.0;
  return S_OK;
}

HRESULT CURIRecordingImpl::DateFromStart(VARIANT_BOOL local, DATE* pVal) {
  if (pVal == nullptr) return E_POINTER;
  const mlr::ApiEntries api = mlr::api_entry_table::Resolve();
  if (api.RecordingTimeToDATE == nullptr) return E_NOTIMPL;
  SHORT year = 0;
  SHORT day = 0;
  double seconds = 0.0;
  get_UTCYear(&year);
  get_UTCYearDay(&day);
  get_UTCTimeOfDay(&seconds);
  return api.RecordingTimeToDATE(year, day, seconds, local, pVal);
}

HRESULT CURIRecordingImpl::get_UTCDate(DATE* pVal) { return DateFromStart(VARIANT_FALSE, pVal); }
HRESULT CURIRecordingImpl::get_LocalDate(DATE* pVal) { return DateFromStart(VARIANT_TRUE, pVal); }

HRESULT CURIRecordingImpl::get_Comment(BSTR* pVal) { return comment_.Copy(pVal); }
HRESULT CURIRecordingImpl::put_Comment(BSTR) { return S_OK; }

HRESULT CURIRecordingImpl::get_Collection(kalRecordingCollection rcType, IUnknown** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  switch (static_cast<LONG>(rcType)) {
    case kCollectionChannelGroups: {
      IChannelGroups* groups = nullptr;
      get_ChannelGroups(&groups);
      if (groups == nullptr) return S_OK;
      const HRESULT hr = groups->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(pVal));
      groups->Release();
      return hr;
    }
    case kalRecColMarkers:
      return QueryUnknown(MarkersCollection(), pVal);
    case kalRecColBookmarks:
      return QueryUnknown(BookmarksCollection(), pVal);
    case kalRecColTriggers:
      return QueryUnknown(TriggersCollection(), pVal);
    case kalRecColPhysicalChannelConfig:
      return QueryUnknown(physical_channels_.get(), pVal);
    default:
      return S_OK;
  }
}

HRESULT CURIRecordingImpl::Remove() { return S_OK; }

// --- Protected operations ---------------------------------------------------

HRESULT CURIRecordingImpl::SetStrings(const OLECHAR* title, const OLECHAR* location,
                                      const OLECHAR* extension, const OLECHAR* comment,
                                      const OLECHAR* xunits) {
  if (!title_.Assign(title) || !location_.Assign(location) || !extension_.Assign(extension) ||
      !comment_.Assign(comment) || !xunits_.Assign(xunits)) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT CURIRecordingImpl::SetStrings(const mlr::Bstr& title, const mlr::Bstr& location,
                                      const mlr::Bstr& extension, const mlr::Bstr& comment,
                                      const mlr::Bstr& xunits) {
  if (!title_.AssignBstr(title.get()) || !location_.AssignBstr(location.get()) ||
      !extension_.AssignBstr(extension.get()) || !comment_.AssignBstr(comment.get()) ||
      !xunits_.AssignBstr(xunits.get())) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT CURIRecordingImpl::AddChannelGroup(CURIChannelGroupImpl* group) {
  if (group == nullptr) return E_POINTER;
  return groups_->Append(group) ? S_OK : E_OUTOFMEMORY;
}

void CURIRecordingImpl::SetStartTimeFromLocal(LONG year, LONG yearDay, double seconds) {
  const mlr::ApiEntries api = mlr::api_entry_table::Resolve();
  if (api.LocalTimeToRecordingTime != nullptr) {
    api.LocalTimeToRecordingTime(&year, &yearDay, &seconds);
  }
  utc_year_ = static_cast<SHORT>(year);
  utc_year_day_ = static_cast<SHORT>(yearDay);
  utc_time_of_day_ = seconds;
}

void CURIRecordingImpl::SetStartTimeFromUTC(LONG year, LONG yearDay, double seconds) {
  const mlr::ApiEntries api = mlr::api_entry_table::Resolve();
  if (api.RecordingTimeToLocalTime != nullptr && api.LocalTimeToRecordingTime != nullptr) {
    api.RecordingTimeToLocalTime(&year, &yearDay, &seconds);
    api.LocalTimeToRecordingTime(&year, &yearDay, &seconds);
  }
  utc_year_ = static_cast<SHORT>(year);
  utc_year_day_ = static_cast<SHORT>(yearDay);
  utc_time_of_day_ = seconds;
}

CURITriggerInfosImpl* CURIRecordingImpl::TriggersCollection() {
  return triggers_.GetOrCreate(this);
}

CURIMarkersImpl* CURIRecordingImpl::MarkersCollection() {
  return markers_.GetOrCreate(this);
}

CURIBookmarksImpl* CURIRecordingImpl::BookmarksCollection() {
  return bookmarks_.GetOrCreate(this);
}

HRESULT CURIRecordingImpl::AddTrigger(double time, LONG source, const OLECHAR* name,
                                      IChannelInfo* channel) {
  CURITriggerInfosImpl* triggers = TriggersCollection();
  if (triggers == nullptr) return E_OUTOFMEMORY;
  return triggers->Add(time, source, name, channel) ? S_OK : E_OUTOFMEMORY;
}

HRESULT CURIRecordingImpl::AddBookmark(double time, const OLECHAR* text) {
  CURIBookmarksImpl* bookmarks = BookmarksCollection();
  if (bookmarks == nullptr) return E_OUTOFMEMORY;
  const auto length = text != nullptr ? std::char_traits<OLECHAR>::length(text) : 0;
  return bookmarks->Insert(time, text, static_cast<UINT>(length)) >= 0 ? S_OK : E_OUTOFMEMORY;
}

HRESULT CURIRecordingImpl::AddMarker(double time) {
  CURIMarkersImpl* markers = MarkersCollection();
  if (markers == nullptr) return E_OUTOFMEMORY;
  return markers->Add(time);
}

void CURIRecordingImpl::SetPhysicalChannels(CURIPhysicalChannelsImpl* channels) {
  physical_channels_.reset(channels);
}
