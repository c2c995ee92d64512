// The process's global interface table, as the saver uses it: storages and
// streams created on one thread are registered once and fetched by whichever
// thread runs the next phase.
//
// A cookie of 0 means "not registered". Any thread may call these.
#pragma once

#include "platform/com_ptr.h"
#include "platform/win.h"

namespace mlr::save {

// Registers `object` as `iid`; *cookie receives the cookie (0 on failure).
HRESULT RegisterInTable(IUnknown* object, REFIID iid, DWORD* cookie);

// A new reference to the registered object (E_INVALIDARG for cookie 0).
HRESULT FetchFromTable(DWORD cookie, REFIID iid, void** out);
template <class T>
HRESULT FetchFromTable(DWORD cookie, ComPtr<T>* out) {
  return FetchFromTable(cookie, IidOf<T>(), out->put_void());
}

// Revokes *cookie (when not 0) and sets it to 0.
void RevokeFromTable(DWORD* cookie);

}  // namespace mlr::save
