// The in-process class table behind CoCreateInstance and CoGetClassObject.
//
// Modules register the classes they serve (the loader, the resampler, a KSS
// storage provider, test doubles):
//
//   mlr::RegisterClassObject(CLSID_KrfLoader, &CreateKrfLoader);
//   HRESULT CreateKrfLoader(IUnknown* outer, REFIID riid, void** ppv);
//
// The creation function follows IClassFactory::CreateInstance: it checks
// ppv, refuses aggregation with CLASS_E_NOAGGREGATION unless it supports it,
// and returns the object's riid interface in *ppv (null on failure).
// Registering a CLSID again replaces the entry; RevokeClassObject removes it
// (S_FALSE when it was not registered). Classes registered with the Windows
// CoRegisterClassObject live in the same table. Thread-safe; the functions
// run outside the table's lock.
#pragma once

#include "platform/win.h"

namespace mlr {

using CreateFunction = HRESULT (*)(IUnknown* outer, REFIID riid, void** ppv);

HRESULT RegisterClassObject(REFCLSID clsid, CreateFunction create);
HRESULT RevokeClassObject(REFCLSID clsid);

}  // namespace mlr
