// Compile-time checks of the platform headers: layout of the automation
// structures as on 64-bit Windows and status and GUID constants. (What the
// dispatch tables deduce from a member's signature is checked by calling
// through them in dispatch_test.cc, their vtable slots for every interface
// of the library by the catalogue's tests.)
#include "platform/win.h"

#include <cstddef>
static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4);
static_assert(sizeof(OLECHAR) == 2 && sizeof(VARIANT_BOOL) == 2 && sizeof(DATE) == 8);
static_assert(sizeof(GUID) == 16);
static_assert(sizeof(VARIANT) == 24 && offsetof(VARIANT, lVal) == 8);
static_assert(sizeof(DECIMAL) == 16);
static_assert(sizeof(PROPVARIANT) == 24 && offsetof(PROPVARIANT, pwszVal) == 8);
static_assert(sizeof(SAFEARRAY) == 32 && offsetof(SAFEARRAY, rgsabound) == 24);
static_assert(sizeof(FILETIME) == 8 && sizeof(SYSTEMTIME) == 16);
static_assert(sizeof(STATSTG) == 80);
static_assert(sizeof(EXCEPINFO) == 64);
static_assert(sizeof(LARGE_INTEGER) == 8 && sizeof(CY) == 8);
static_assert(E_FAIL == static_cast<HRESULT>(0x80004005u));
static_assert(FAILED(DISP_E_EXCEPTION) && SUCCEEDED(S_FALSE));
static_assert(MAKE_HRESULT(1, FACILITY_ITF, 10001) == static_cast<HRESULT>(0x80042711u));
static_assert(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) == static_cast<HRESULT>(0x80070002u));
static_assert(IID_IUnknown != IID_IDispatch && IID_IDispatch == IID_IDispatch);
