// QueryInterface of the object model's classes, from a table.
//
// `main` (the object's own dual interface) answers IUnknown, IDispatch and
// each identifier of `main_iids`; each entry of `others` answers its own
// pointer (already cast to that interface: ISupportErrorInfo, a contained
// sub-object). E_POINTER for a null ppv; E_NOINTERFACE with *ppv null for
// any other identifier; otherwise S_OK after one AddRef through `main`, so
// that the object counts the reference even when a sub-object answers.
#pragma once

#include <initializer_list>

#include "platform/win.h"

namespace mlr::model {

struct InterfaceEntry {
  const IID& iid;
  void* pointer;
};

template <class Main>
HRESULT AnswerQueryInterface(Main* main, std::initializer_list<IID> main_iids, REFIID riid,
                             void** ppv, std::initializer_list<InterfaceEntry> others = {}) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (riid == IID_IUnknown || riid == IID_IDispatch) *ppv = main;
  for (const IID& iid : main_iids)
    if (riid == iid) *ppv = main;
  for (const InterfaceEntry& entry : others)
    if (!*ppv && riid == entry.iid) *ppv = entry.pointer;
  if (!*ppv) return E_NOINTERFACE;
  main->AddRef();
  return S_OK;
}

}  // namespace mlr::model
