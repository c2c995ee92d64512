// GUID for the POSIX build: a plain aggregate, so identifiers can be defined
// in headers as `inline constexpr IID IID_IFoo = {0x..., 0x..., 0x...,
// {...}};` (one object for the whole program, usable in constant
// expressions). Equality compares all sixteen bytes. Included through
// platform/win.h.
#pragma once

#include "platform/wintypes.h"

typedef struct _GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
} GUID;

typedef GUID IID;
typedef GUID CLSID;
typedef GUID FMTID;
typedef GUID* LPGUID;
typedef GUID* LPIID;
typedef GUID* LPCLSID;
typedef const GUID& REFGUID;
typedef const IID& REFIID;
typedef const CLSID& REFCLSID;
typedef const FMTID& REFFMTID;

constexpr bool operator==(const GUID& a, const GUID& b) {
  if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
  for (int i = 0; i < 8; ++i) {
    if (a.Data4[i] != b.Data4[i]) return false;
  }
  return true;
}
constexpr bool operator!=(const GUID& a, const GUID& b) { return !(a == b); }

inline BOOL IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }
inline BOOL IsEqualIID(REFIID a, REFIID b) { return a == b; }
inline BOOL IsEqualCLSID(REFCLSID a, REFCLSID b) { return a == b; }

inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
inline constexpr IID IID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
inline constexpr CLSID CLSID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
inline constexpr FMTID FMTID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
