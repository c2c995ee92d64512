// Compound files shared by several threads.
//
// The reader and the saver use one compound file from several threads at
// once: a save's workers create their groups' streams while its writer
// thread writes data and its main thread commits; the resampler's workers
// read several groups of one recording. Our own engine (POSIX) takes such
// calls safely. A system engine need not: Wine's ole32 keeps its directory
// and its file position unguarded, and two threads creating streams in one
// file at once leave it looping in a damaged directory tree.
//
// StorageForThreads(inner, out): the storage to use from several threads.
// POSIX: `inner` itself (a new reference). Windows: a serialised wrapper
// (SerialiseStorage). S_OK, E_POINTER for a null `out` (E_INVALIDARG for a
// null `inner`), E_OUTOFMEMORY; *out is null on failure.
//
// SerialiseStorage(inner, out): wraps `inner` so that every call into it, and
// into every storage, stream and element enumerator opened through the
// wrapper, holds one recursive lock shared by the whole file (a file's
// objects call one another, as CopyTo does, without deadlock). The lock is
// also held while the wrapper releases its last reference to the inner
// object, since closing an element changes the file's shared state. The
// wrapper answers IStorage and IUnknown; IPropertySetStorage is the inner
// object's own (queried under the lock; the property storages it creates are
// not serialised, so a property set must be written by one thread while the
// others leave the file alone, as the saver's summary information is).
// Threads: any; reference counts are atomic.
#pragma once

#include "platform/win.h"

namespace mlr {

HRESULT SerialiseStorage(IStorage* inner, IStorage** out);
HRESULT StorageForThreads(IStorage* inner, IStorage** out);

}  // namespace mlr
