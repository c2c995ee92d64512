// The table of creatable classes and their class objects.
//
// Exactly two rows, in this order: KrfLoader (registration script 101) and
// ChannelResampler (script 102). A row holds the class identifier, its
// registration script's resource number, the creation routine (plain or
// aggregated creation, the IClassFactory::CreateInstance contract), the
// cached class object and the description. Every other class of the type
// library (the save-progress class, the object-model classes) is created by
// the library itself and is neither served nor registered.
//
// A row whose creation routine is not linked in yet (null) is not served
// (CLASS_E_CLASSNOTAVAILABLE) and not registered.
//
// Class objects are created on first request under the module's critical
// section, cached until ReleaseClassObjects (process detach), and do not
// hold the module; their LockServer does (platform/module_lock.h).
#pragma once

#include "platform/win.h"

namespace mlr::server {

using CreateRoutine = HRESULT (*)(IUnknown* outer, REFIID riid, void** ppv);

struct ClassRow {
  const CLSID* clsid;
  UINT script_id;  // resource of type "REGISTRY"
  CreateRoutine create;
  const char* description;
  const char* prog_id;                     // version-dependent
  const char* version_independent_prog_id;
};

// The rows, in order; *count receives their number (2).
const ClassRow* ClassRows(size_t* count);

// Module start and end (DllMain): the critical section and the cache.
void InitClassObjects();
void ReleaseClassObjects();

// The class object of `clsid` queried for `riid`; CLASS_E_CLASSNOTAVAILABLE
// for classes not in the table.
HRESULT GetClassObject(REFCLSID clsid, REFIID riid, void** ppv);

}  // namespace mlr::server
