// Small conversions shared by the interface objects of the engine: GUIDs to
// and from their on-disk bytes, FILETIMEs to and from ticks, names from
// OLECHAR strings, task-memory copies of names, and the access bits of an
// STGM_ mode.
#pragma once

#include "platform/win.h"
#include "storage/property_set.h"

#include <string>

namespace mlr::storage {

Guid GuidToBytes(const GUID& g);
GUID GuidFromBytes(const Guid& b);
inline uint64_t Ticks(const FILETIME& t) { return (static_cast<uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime; }
inline FILETIME FileTimeOf(uint64_t ticks) {
  FILETIME t;
  t.dwLowDateTime = static_cast<DWORD>(ticks);
  t.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return t;
}
// A name of at most 32 characters (longer ones are cut, and then refused as
// too long by the engine).
std::u16string NameOf(const OLECHAR* name);
// A CoTaskMemAlloc copy (null if out of memory).
LPOLESTR TaskStrDup(const std::u16string& s);

inline bool CanRead(DWORD mode) { return (mode & 3) != STGM_WRITE; }
inline bool CanWrite(DWORD mode) { return (mode & 3) != STGM_READ; }

}  // namespace mlr::storage
