// Property sets on storages: IPropertySetStorage over any IStorage (what
// StgCreatePropSetStg returns, and what a storage of this engine answers to
// QueryInterface) and IPropertyStorage over one simple property set stream.
//
// A property storage reads its stream once when opened and rewrites it
// whole after every change (WriteMultiple, DeleteMultiple, SetClass), so the
// stream is always complete; Commit and Revert have nothing left to do.
//
// Properties are addressed by identifier (PRSPEC_PROPID). Named properties
// (PRSPEC_LPWSTR, the dictionary) are not supported: reading one finds
// nothing, writing one gives STG_E_INVALIDPARAMETER. Non-simple sets
// (PROPSETFLAG_NONSIMPLE) give STG_E_INVALIDFLAG.
//
// Code page: PROPSETFLAG_ANSI creates a set with code page 1252 (the ANSI
// code page of the Western systems the recordings come from), otherwise
// 1200 (Unicode). VT_LPSTR values are UTF-8 in the interfaces and converted
// to and from the set's code page in the stream.
//
// Threading: free-threaded; each property storage serialises its calls.
#pragma once

#include "platform/win.h"

// StgCreatePropSetStg is declared in platform/ole32.h.

