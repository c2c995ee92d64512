#include "model/bookmarks_impl.h"

#include <new>

#include "model/com_enum.h"
#include "model/item_hand_out.h"
#include "model/query_interface.h"
#include "model/recording_impl.h"

// --- CURIBookmarkImpl -------------------------------------------------------

CURIBookmarkImpl::CURIBookmarkImpl(CURIBookmarksImpl* owner, LONG index,
                                   const mlr::model::BookmarkRecord& record)
    : refs_(owner), index_(index), record_(record) {}

HRESULT CURIBookmarkImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IBookmark*>(this), {IID_IBookmark}, riid, ppv,
      {{IID_ITimemark, static_cast<ITimemark*>(&timemark_)},
       {IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIBookmarkImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIBookmarkImpl::Release() {
  return refs_.Release([this] { delete this; });
}

HRESULT CURIBookmarkImpl::get_Name(BSTR* pVal) { return record_.text.Copy(pVal); }

HRESULT CURIBookmarkImpl::get_Parent(IBookmarks** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_IBookmarks, reinterpret_cast<void**>(pVal));
}

HRESULT CURIBookmarkImpl::get_Time(double* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = record_.time;
  return S_OK;
}

HRESULT CURIBookmarkImpl::Remove() { return E_NOTIMPL; }

HRESULT CURIBookmarkImpl::TimemarkFace::get_Index(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = outer_->index_;
  return S_OK;
}

// --- CURIBookmarksImpl ------------------------------------------------------

CURIBookmarksImpl::CURIBookmarksImpl(CURIRecordingImpl* owner) : refs_(owner) {}

HRESULT CURIBookmarksImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IBookmarks*>(this), {IID_IBookmarks}, riid, ppv,
      {{IID_ITimemarks, static_cast<ITimemarks*>(&timemarks_)},
       {IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)}});
}

ULONG CURIBookmarksImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIBookmarksImpl::Release() { return refs_.Release(); }

HRESULT CURIBookmarksImpl::get_Item(LONG Index, IUnknown** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  if (Index < 1 || Index > records_.size()) return S_OK;
  return mlr::model::HandOutItem<IBookmark>(
      new (std::nothrow) CURIBookmarkImpl(this, Index, records_.at(Index - 1)), pVal);
}

HRESULT CURIBookmarksImpl::get_Item(LONG Index, IBookmark** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  IUnknown* item = nullptr;
  HRESULT hr = get_Item(Index, &item);
  if (item == nullptr) return hr;
  hr = item->QueryInterface(IID_IBookmark, reinterpret_cast<void**>(pVal));
  item->Release();
  return hr;
}

HRESULT CURIBookmarksImpl::get_Parent(IRecording** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_IRecording, reinterpret_cast<void**>(pVal));
}

HRESULT CURIBookmarksImpl::get_Count(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = records_.size();
  return S_OK;
}

HRESULT CURIBookmarksImpl::Add(double dTime, BSTR strBookmark, IBookmark** Bookmark) {
  // The bookmark is added before the out pointer is looked at.
  const LONG position = Insert(dTime, strBookmark, SysStringLen(strBookmark));
  if (Bookmark == nullptr) return E_POINTER;
  *Bookmark = nullptr;
  if (position < 0) return E_OUTOFMEMORY;
  return get_Item(position + 1, Bookmark);
}

HRESULT CURIBookmarksImpl::get__NewEnum(IUnknown** pVal) {
  return CURIComEnumCollectionImpl<CURIBookmarksImpl, IBookmark>::NewEnum(this, pVal);
}

HRESULT CURIBookmarksImpl::GetIndicesFromTime(double StartTime, double EndTime, LONG* First,
                                              LONG* Last) {
  if (First == nullptr || Last == nullptr) return E_POINTER;
  records_.IndicesFromTime(StartTime, EndTime, First, Last);
  return S_OK;
}

HRESULT CURIBookmarksImpl::TimemarksNewEnum(IUnknown** pVal) {
  return CURIComEnumCollectionImpl<CURIBookmarksImpl, IUnknown>::NewEnum(this, pVal);
}

LONG CURIBookmarksImpl::Insert(double time, const OLECHAR* text, UINT length) {
  mlr::model::BookmarkRecord record;
  record.time = time;
  if (!record.text.AssignLength(text, length)) return -1;
  return records_.Insert(std::move(record), false);
}
