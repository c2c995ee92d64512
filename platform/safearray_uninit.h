// An internal way to create a SAFEARRAY whose data block is not zeroed, for
// library code that writes every element itself before handing the array
// out. Not exported (no MLR_API): clients keep the zeroed SafeArrayCreate.
//
// SafeArrayCreate clears the data block; for large blocks that clearing is a
// full pass over memory the allocator may hand back from earlier use. Callers
// of SafeArrayCreateUninitialized take on the clearing's job: every element
// must be written on every path before the array leaves the caller; on a
// path that cannot write them all the caller destroys the array instead.
//
// Only element types without ownership are accepted (integers, reals,
// VT_BOOL, VT_DATE, VT_CY, VT_ERROR, VT_DECIMAL); for VT_BSTR, VT_UNKNOWN,
// VT_DISPATCH, VT_VARIANT and types SafeArrayCreate refuses it returns null,
// since destroying such an array would free whatever the memory held.
// Otherwise the arguments, the layout, the result (null when out of memory)
// and the destruction (SafeArrayDestroy) are those of SafeArrayCreate.
// The Windows build zeroes as SafeArrayCreate does.
// Threading: callable from any thread; the array is the caller's.
#pragma once

#include "platform/win.h"

namespace mlr {

SAFEARRAY* SafeArrayCreateUninitialized(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound);

}  // namespace mlr
