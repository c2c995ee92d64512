// CURIRecordingImpl: the generic, in-memory recording (`IRecording`).
//
// The root of a recording's object tree. It holds the recording's
// description in memory and answers every `IRecording` member from it; it
// reads no file. A recording source (the file reader's `CKrfRecording`, the
// saver's recording, `CMemoryRecording`) derives from it, fills it through
// the protected operations below and may override the members listed under
// "Overridable". All members are virtual (they are the interface's vtable).
//
// Ownership. The recording owns its channel-groups collection (made in the
// constructor), which owns the groups; the triggers, markers and bookmarks
// collections (made on first use); and the physical-channels collection once
// a derived class has set one. Every child forwards its reference counts to
// this object, so any child a client holds keeps the whole tree alive. The
// recording deletes itself when its own count reaches zero, and its
// destructor deletes the children it owns (plain deletion, not Release).
// A new recording starts with a count of 0: the creator queries it for
// `IRecording` (or AddRefs it) before handing it out.
//
// Base behaviour of the members (every member with an out pointer answers
// E_POINTER for a null one before doing anything else; strings are new BSTR
// copies the caller frees; interfaces come with a reference added):
//   Title, Location, Extension, XUnits, Comment get: copies of the fields.
//   Title, WriteProtect, UTCYear, UTCYearDay, UTCTimeOfDay, Comment put,
//     Remove: accepted without effect, S_OK (the model is read-only).
//   Parent: null, S_OK.  WriteProtect: VARIANT_TRUE.  Acquiring: VARIANT_FALSE.
//   CanBeReviewed: VARIANT_TRUE.  TimePerDivisionHint: 1.0.
//   ChannelGroups: the groups collection as IChannelGroups; S_OK whatever the
//     query answered.
//   TotalSize: `GetEstimatedTotalSize(this, -1e200, 1e200, pVal)` through the
//     API entry table, but only if some other member has already resolved
//     that table; otherwise 0 with S_OK. This member deliberately never
//     resolves the table itself: a fresh process answers 0 until, for
//     example, `UTCDate` has been called once.
//   UTCYear/UTCYearDay/UTCTimeOfDay get: the stored start time (recording
//     time, UTC; defaults 1999, day 1, 0.0 s).
//   StartTime / EndTime: the minimum of the groups' StartTime / the maximum of
//     their EndTime, starting from 1e200 / -1e200 (a recording without groups
//     answers those sentinels with S_OK; callers test for them). The groups
//     are reached through this object's own `get_ChannelGroups`.
//   Duration: EndTime - StartTime, both through the interface, unchecked.
//   UTCDate / LocalDate: `RecordingTimeToDATE(UTCYear, UTCYearDay,
//     UTCTimeOfDay, VARIANT_FALSE / VARIANT_TRUE, pVal)` through the API entry
//     table (resolving it); E_NOTIMPL when that entry is missing.
//   Collection(rcType): *pVal is first set to null; the collection answered
//     as IUnknown: 1 the groups (through `get_ChannelGroups`),
//     kalRecColMarkers, kalRecColBookmarks, kalRecColTriggers (made on first
//     request), kalRecColPhysicalChannelConfig (null unless a derived class
//     set one); any other value, voice marks and display pages included,
//     null with S_OK (a derived class supplies those).
//
// Overridable (the file reader overrides these): get_ChannelGroups,
// get_TotalSize, get_TimePerDivisionHint, get_Comment, put_Comment,
// get_Collection, and the string getters. Because the base calls its own
// members through the interface (Duration calls StartTime and EndTime,
// StartTime calls ChannelGroups, UTCDate calls the three UTC getters,
// Collection(1) calls ChannelGroups), an override also changes the derived
// values.
//
// Threading: free-threaded. Reference counts are atomic. The lazy creation of
// collections takes no lock; threads racing on a first use may each build
// one, but a compare-and-swap keeps exactly one and every caller gets it
// (model/lazy_child.h). The fill operations are for the loading source only
// and are not synchronised with readers. Derived classes that load lazily
// lock their own loads.
#pragma once

#include <memory>

#include "LegacyRecording.h"
#include "model/bstr_value.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/lazy_child.h"
#include "model/live_objects.h"
#include "model/owned_ref_count.h"
#include "platform/strings.h"
#include "platform/win.h"

class CURIChannelGroupsImpl;
class CURIChannelGroupImpl;
class CURITriggerInfosImpl;
class CURIMarkersImpl;
class CURIBookmarksImpl;
class CURIPhysicalChannelsImpl;

class CURIRecordingImpl : public mlr::model::DispatchImplFor<IRecording>,
                          public URI_ISupportErrorInfoImpl<&IID_IRecording> {
 public:
  CURIRecordingImpl();
  CURIRecordingImpl(const CURIRecordingImpl&) = delete;
  CURIRecordingImpl& operator=(const CURIRecordingImpl&) = delete;

  // IUnknown: answers IUnknown, IDispatch, IRecording and ISupportErrorInfo.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // IRecording
  HRESULT STDMETHODCALLTYPE get_Title(BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE put_Title(BSTR newVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IDispatch** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Location(BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Extension(BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE get_ChannelGroups(IChannelGroups** pVal) override;
  HRESULT STDMETHODCALLTYPE get_WriteProtect(VARIANT_BOOL* pVal) override;
  HRESULT STDMETHODCALLTYPE put_WriteProtect(VARIANT_BOOL newVal) override;
  HRESULT STDMETHODCALLTYPE get_TotalSize(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_XUnits(BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE get_UTCYear(SHORT* pVal) override;
  HRESULT STDMETHODCALLTYPE put_UTCYear(SHORT newVal) override;
  HRESULT STDMETHODCALLTYPE get_UTCYearDay(SHORT* pVal) override;
  HRESULT STDMETHODCALLTYPE put_UTCYearDay(SHORT newVal) override;
  HRESULT STDMETHODCALLTYPE get_UTCTimeOfDay(double* pVal) override;
  HRESULT STDMETHODCALLTYPE put_UTCTimeOfDay(double newVal) override;
  HRESULT STDMETHODCALLTYPE get_Acquiring(VARIANT_BOOL* pVal) override;
  HRESULT STDMETHODCALLTYPE get_CanBeReviewed(VARIANT_BOOL* pVal) override;
  HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Duration(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_TimePerDivisionHint(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_UTCDate(DATE* pVal) override;
  HRESULT STDMETHODCALLTYPE get_LocalDate(DATE* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Comment(BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE put_Comment(BSTR newVal) override;
  HRESULT STDMETHODCALLTYPE get_Collection(kalRecordingCollection rcType, IUnknown** pVal) override;
  HRESULT STDMETHODCALLTYPE Remove() override;

 protected:
  // Deleted only through Release. Deletes the owned children.
  virtual ~CURIRecordingImpl();
  // (The constructor throws std::bad_alloc when the groups collection cannot
  // be made; sources create recordings inside their own bad_alloc boundary.)

  // --- Protected operations for recording sources -------------------------

  // Sets the five strings in one call, in this order. The wide strings (or
  // the BSTRs held, embedded NULs included) are copied; null is empty. E_OUTOFMEMORY when a copy fails (the strings
  // copied before it are kept).
  HRESULT SetStrings(const OLECHAR* title, const OLECHAR* location, const OLECHAR* extension,
                     const OLECHAR* comment, const OLECHAR* xunits);
  HRESULT SetStrings(const mlr::Bstr& title, const mlr::Bstr& location,
                     const mlr::Bstr& extension, const mlr::Bstr& comment,
                     const mlr::Bstr& xunits);

  // Appends `group` (made with this recording as owner) to the groups
  // collection; its Index becomes the new count. The collection takes
  // ownership in every case: when it cannot grow, the group is deleted and
  // E_OUTOFMEMORY returned.
  HRESULT AddChannelGroup(CURIChannelGroupImpl* group);

  // Start time given as local time (year, day of year, seconds of day):
  // resolves the API entry table and converts with LocalTimeToRecordingTime
  // when that entry exists; stores the value unconverted otherwise.
  void SetStartTimeFromLocal(LONG year, LONG yearDay, double seconds);
  // Start time given in UTC: stored as it stands, except that when both
  // RecordingTimeToLocalTime and LocalTimeToRecordingTime are available the
  // value is normalised by converting it to local time and back first.
  void SetStartTimeFromUTC(LONG year, LONG yearDay, double seconds);

  // Adds a trigger (ordered insertion by time; made on first use). `channel`
  // is the trigger source's channel info or null; it is kept as a plain,
  // non-counting pointer and must belong to this recording (the recording
  // keeps its channels alive). `source` is a kalTriggerSource value.
  // E_OUTOFMEMORY when the collection or the record cannot be stored.
  HRESULT AddTrigger(double time, LONG source, const OLECHAR* name, IChannelInfo* channel);
  // Adds a bookmark (ordered insertion; the text is copied).
  HRESULT AddBookmark(double time, const OLECHAR* text);
  // Adds a marker (the markers' insertion, which may refuse an equal time).
  HRESULT AddMarker(double time);

  // Hands the physical-channel configuration to the recording, which owns
  // and deletes it from then on (replacing and deleting an earlier one).
  // The collection must have been made with this recording as owner.
  void SetPhysicalChannels(CURIPhysicalChannelsImpl* channels);

  // The owned collections for derived classes (never null for the groups;
  // the event collections are made here if needed and are null only when
  // they cannot be allocated).
  CURIChannelGroupsImpl* GroupsCollection() const { return groups_.get(); }
  CURITriggerInfosImpl* TriggersCollection();
  CURIMarkersImpl* MarkersCollection();
  CURIBookmarksImpl* BookmarksCollection();
  CURIPhysicalChannelsImpl* PhysicalChannelsCollection() const { return physical_channels_.get(); }

  // The stored fields, for derived classes that override the getters.
  const mlr::model::BstrValue& title() const { return title_; }
  const mlr::model::BstrValue& location() const { return location_; }
  const mlr::model::BstrValue& extension() const { return extension_; }
  const mlr::model::BstrValue& comment() const { return comment_; }
  const mlr::model::BstrValue& xunits() const { return xunits_; }

  // Current reference count of the recording (for diagnostics and tests).
  LONG RefCountForTesting() const { return refs_.value(); }

 private:
  HRESULT GroupsExtreme(bool minimum, double* pVal);
  HRESULT DateFromStart(VARIANT_BOOL local, DATE* pVal);

  mlr::model::LiveObjectToken live_;
  mlr::model::RootRefCount refs_;
  double utc_time_of_day_ = 0.0;
  SHORT utc_year_day_ = 1;
  SHORT utc_year_ = 1999;
  std::unique_ptr<CURIChannelGroupsImpl> groups_;
  mlr::model::LazyChild<CURITriggerInfosImpl> triggers_;
  mlr::model::LazyChild<CURIMarkersImpl> markers_;
  mlr::model::LazyChild<CURIBookmarksImpl> bookmarks_;
  std::unique_ptr<CURIPhysicalChannelsImpl> physical_channels_;
  mlr::model::BstrValue title_;
  mlr::model::BstrValue comment_;
  mlr::model::BstrValue xunits_;
  mlr::model::BstrValue location_;
  mlr::model::BstrValue extension_;
};
