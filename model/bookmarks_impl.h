// Bookmarks: CURIBookmarksImpl (`IBookmarks`, and `ITimemarks` as a second
// interface) and its item objects CURIBookmarkImpl (`IBookmark`, and
// `ITimemark`).
//
// The collection keeps (time, text) records in ascending time order; owned
// by the recording (made on first use), it forwards its reference counts to
// it. Items are snapshots made anew on each Item call; they count their own
// references, delete themselves at zero and pass every AddRef/Release on to
// the collection.
//
// Each class answers its second interface through a small face object with
// its own IDispatch (so that dispatch identifiers are those of the interface
// the client holds) sharing the object's identity and reference count.
//
// IBookmarks: Item(Index) - 1-based, a new bookmark as IBookmark (obtained
//   from the ITimemarks Item and queried for IBookmark); out of range S_OK
//   with null. Parent (the recording as IRecording), Count, _NewEnum
//   (snapshot through Count and Item, elements IBookmark's IDispatch).
//   Add(dTime, strBookmark, Bookmark): ordered insertion of (dTime, copy of
//   the text) first, then Item(position + 1) into Bookmark with Item's
//   status; a null Bookmark therefore still adds the bookmark and then
//   answers E_POINTER. When the record cannot be stored (no memory for the
//   text or the array), nothing is added and Add answers E_OUTOFMEMORY with
//   a null Bookmark rather than handing out a neighbouring bookmark.
// ITimemarks: Item as IUnknown, Parent, Count, GetIndicesFromTime (null
//   First/Last: E_POINTER), _NewEnum.
// IBookmark: Name (copy of the text), Parent (the collection as IBookmarks),
//   Time, Remove (E_NOTIMPL: bookmarks cannot be removed). ITimemark: Time,
//   Index.
#pragma once

#include "LegacyRecording.h"
#include "model/bstr_value.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/live_objects.h"
#include "model/owned_ref_count.h"
#include "model/time_ordered_array.h"
#include "platform/win.h"

class CURIRecordingImpl;
class CURIBookmarksImpl;

namespace mlr::model {
struct BookmarkRecord {
  double time = 0.0;
  BstrValue text;
};
}  // namespace mlr::model

class CURIBookmarkImpl : public mlr::model::DispatchImplFor<IBookmark>,
                         public URI_ISupportErrorInfoImpl<&IID_IBookmark> {
 public:
  CURIBookmarkImpl(CURIBookmarksImpl* owner, LONG index, const mlr::model::BookmarkRecord& record);
  virtual ~CURIBookmarkImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IBookmarks** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Time(double* pVal) override;
  HRESULT STDMETHODCALLTYPE Remove() override;

  LONG index() const { return index_; }

 private:
  // ITimemark of the bookmark.
  class TimemarkFace : public mlr::model::DispatchImplFor<ITimemark> {
   public:
    explicit TimemarkFace(CURIBookmarkImpl* outer) : outer_(outer) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
      return outer_->QueryInterface(riid, ppv);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return outer_->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return outer_->Release(); }
    HRESULT STDMETHODCALLTYPE get_Time(double* pVal) override { return outer_->get_Time(pVal); }
    HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) override;

   private:
    CURIBookmarkImpl* const outer_;
  };

  mlr::model::LiveObjectToken live_;
  mlr::model::ItemRefCount<CURIBookmarksImpl> refs_;
  TimemarkFace timemark_{this};
  LONG index_;
  mlr::model::BookmarkRecord record_;
};

class CURIBookmarksImpl : public mlr::model::DispatchImplFor<IBookmarks>,
                          public URI_ISupportErrorInfoImpl<&IID_IBookmarks> {
 public:
  explicit CURIBookmarksImpl(CURIRecordingImpl* owner);
  virtual ~CURIBookmarksImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // IBookmarks
  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IBookmark** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE Add(double dTime, BSTR strBookmark, IBookmark** Bookmark) override;
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override;

  // ITimemarks (answered through the face)
  HRESULT get_Item(LONG Index, IUnknown** pVal);
  HRESULT GetIndicesFromTime(double StartTime, double EndTime, LONG* First, LONG* Last);
  HRESULT TimemarksNewEnum(IUnknown** pVal);

  // Ordered insertion; the 0-based position, or -1 when not stored.
  LONG Insert(double time, const OLECHAR* text, UINT length);

 private:
  class TimemarksFace : public mlr::model::DispatchImplFor<ITimemarks> {
   public:
    explicit TimemarksFace(CURIBookmarksImpl* outer) : outer_(outer) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
      return outer_->QueryInterface(riid, ppv);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return outer_->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return outer_->Release(); }
    HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IUnknown** pVal) override {
      return outer_->get_Item(Index, pVal);
    }
    HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) override { return outer_->get_Parent(pVal); }
    HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override { return outer_->get_Count(pVal); }
    HRESULT STDMETHODCALLTYPE GetIndicesFromTime(double StartTime, double EndTime, LONG* First,
                                                 LONG* Last) override {
      return outer_->GetIndicesFromTime(StartTime, EndTime, First, Last);
    }
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override {
      return outer_->TimemarksNewEnum(pVal);
    }

   private:
    CURIBookmarksImpl* const outer_;
  };
  friend class CURIBookmarkImpl;

  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIRecordingImpl> refs_;
  TimemarksFace timemarks_{this};
  mlr::model::TimeOrderedArray<mlr::model::BookmarkRecord> records_;
};
