#include "model/display_pages_impl.h"

#include <new>

#include "model/query_interface.h"

// --- CURIDisplayPageImpl ----------------------------------------------------

CURIDisplayPageImpl::CURIDisplayPageImpl(CURIDisplayPagesImpl* owner) : refs_(owner) {}

HRESULT CURIDisplayPageImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IDisplayPage*>(this), {IID_IDisplayPage}, riid, ppv);
}

ULONG CURIDisplayPageImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIDisplayPageImpl::Release() { return refs_.Release(); }

HRESULT CURIDisplayPageImpl::CloneAsUnknown(IStream* stream, IUnknown** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  if (stream == nullptr) return S_OK;
  mlr::ComPtr<IStream> clone;
  HRESULT hr = stream->Clone(clone.put());
  if (FAILED(hr)) return hr;
  return clone->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(pVal));
}

HRESULT CURIDisplayPageImpl::get_PageSetup(IUnknown** pVal) {
  return CloneAsUnknown(page_setup_.get(), pVal);
}

HRESULT CURIDisplayPageImpl::get_TraceAssignment(IUnknown** pVal) {
  return CloneAsUnknown(trace_assignment_.get(), pVal);
}

HRESULT CURIDisplayPageImpl::ForWriting(mlr::ComPtr<IStream>* slot, IStream** stream) {
  if (stream == nullptr) return E_POINTER;
  *stream = nullptr;
  if (!*slot) {
    HRESULT hr = CreateStreamOnHGlobal(nullptr, TRUE, slot->put());
    if (FAILED(hr)) return hr;
  }
  return (*slot)->Clone(stream);
}

HRESULT CURIDisplayPageImpl::PageSetupForWriting(IStream** stream) {
  return ForWriting(&page_setup_, stream);
}

HRESULT CURIDisplayPageImpl::TraceAssignmentForWriting(IStream** stream) {
  return ForWriting(&trace_assignment_, stream);
}

// --- CURIDisplayPagesImpl ---------------------------------------------------

CURIDisplayPagesImpl::CURIDisplayPagesImpl(IUnknown* owner) : refs_(owner) {}

CURIDisplayPagesImpl::~CURIDisplayPagesImpl() = default;

HRESULT CURIDisplayPagesImpl::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<IDisplayPages*>(this), {IID_IDisplayPages}, riid, ppv);
}

ULONG CURIDisplayPagesImpl::AddRef() { return refs_.AddRef(); }
ULONG CURIDisplayPagesImpl::Release() { return refs_.Release(); }

HRESULT CURIDisplayPagesImpl::get_Item(LONG Index, IDisplayPage** pVal) {
  return mlr::model::StoredItem<CURIDisplayPageImpl, IDisplayPage>(
      items_, Index, IID_IDisplayPage, reinterpret_cast<void**>(pVal));
}

HRESULT CURIDisplayPagesImpl::get_Count(LONG* pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = items_.size();
  return S_OK;
}

CURIDisplayPageImpl* CURIDisplayPagesImpl::Add() {
  auto* page = new (std::nothrow) CURIDisplayPageImpl(this);
  if (page == nullptr) return nullptr;
  return items_.Append(page) ? page : nullptr;
}
