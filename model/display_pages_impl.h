// Display pages: CURIDisplayPagesImpl (`IDisplayPages`) and
// CURIDisplayPageImpl (`IDisplayPage`), both hidden in the type library.
//
// Per page, two opaque blobs saved by the display application that recorded
// the data: the page set-up and the trace assignment. This system only
// stores and returns their bytes. The collection has an owner (the
// recording, to which counts are forwarded) and owns its pages; pages
// forward to the collection. Display pages have no Parent and no
// enumerator.
//
// IDisplayPage: PageSetup, TraceAssignment - null with S_OK when that blob
//   was never written; otherwise a clone of the page's stream (sharing the
//   data, with its own seek pointer starting where the page's stream stands)
//   as IUnknown. Each call gives a new, independent clone.
// IDisplayPages: Item(Index) - 1-based, the page as IDisplayPage; out of
//   range S_OK with null. Count. Both answer E_POINTER for null out pointers.
//
// Filling (for sources): Add() appends a new page; a page's
// PageSetupForWriting / TraceAssignmentForWriting make the stream on first
// use (an empty memory stream, CreateStreamOnHGlobal, freed on release) and
// hand the caller a clone to write the blob into (the caller releases it).
//
// The collection is a generic owned object; its owner is typically the
// recording source that reads the pages (any type with AddRef/Release
// through IUnknown).
#pragma once

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/live_objects.h"
#include "model/owned_item_array.h"
#include "model/owned_ref_count.h"
#include "platform/com_ptr.h"
#include "platform/win.h"

class CURIDisplayPagesImpl;

class CURIDisplayPageImpl : public mlr::model::DispatchImplFor<IDisplayPage> {
 public:
  explicit CURIDisplayPageImpl(CURIDisplayPagesImpl* owner);
  virtual ~CURIDisplayPageImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_PageSetup(IUnknown** pVal) override;
  HRESULT STDMETHODCALLTYPE get_TraceAssignment(IUnknown** pVal) override;

  // A clone of the page-set-up / trace-assignment stream to write into (the
  // stream is made on first use). E_POINTER for a null out; the failure of
  // the stream's creation or clone otherwise (*stream null).
  HRESULT PageSetupForWriting(IStream** stream);
  HRESULT TraceAssignmentForWriting(IStream** stream);

 private:
  static HRESULT CloneAsUnknown(IStream* stream, IUnknown** pVal);
  static HRESULT ForWriting(mlr::ComPtr<IStream>* slot, IStream** stream);

  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIDisplayPagesImpl> refs_;
  mlr::ComPtr<IStream> page_setup_;
  mlr::ComPtr<IStream> trace_assignment_;
};

class CURIDisplayPagesImpl : public mlr::model::DispatchImplFor<IDisplayPages> {
 public:
  explicit CURIDisplayPagesImpl(IUnknown* owner);
  virtual ~CURIDisplayPagesImpl();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IDisplayPage** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;

  // Appends a new page and returns it (owned by the collection), or null when
  // it could not be made or stored.
  CURIDisplayPageImpl* Add();

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<IUnknown> refs_;
  mlr::model::OwnedItemArray<CURIDisplayPageImpl> items_;
};
