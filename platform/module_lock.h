// The module's lock count: the number of live objects of the library plus the
// explicit server locks (IClassFactory::LockServer). DllCanUnloadNow answers
// S_OK only at zero. Changed with atomic increments and decrements; any
// thread.
//
// Objects hold a ModuleReference member for their whole life: the roots of
// the object model (a recording, through its root reference count), loaders,
// enumerators and other objects that delete themselves. Children that live
// inside their owner need none.
#pragma once

#include "platform/win.h"

namespace mlr {

void LockModule();
void UnlockModule();
// The count as it stands (it may change at once).
LONG ModuleLockCount();

class ModuleReference {
 public:
  ModuleReference() { LockModule(); }
  ~ModuleReference() { UnlockModule(); }
  ModuleReference(const ModuleReference&) { LockModule(); }
  ModuleReference& operator=(const ModuleReference&) { return *this; }
};

}  // namespace mlr
