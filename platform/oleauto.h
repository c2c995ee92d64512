// The automation runtime API (POSIX build): BSTR, VARIANT, SAFEARRAY, thread
// error info and automation dates. Same names, types and semantics as the
// Windows functions; exported with C linkage so that a client frees what the
// library returns. Included through platform/win.h.
//
// Ownership: a BSTR, SAFEARRAY or interface stored in a VARIANT belongs to
// the VARIANT; VariantClear frees/releases it. SafeArrayDestroy frees the
// elements (BSTRs freed, interfaces released, VARIANTs cleared).
// Threading: all functions may be called from any thread; a SAFEARRAY or
// VARIANT itself is not synchronised. Error info is per thread.
#pragma once

#include "platform/export.h"
#include "platform/oaidl.h"

// BSTR: a 32-bit byte length stored before the characters, UTF-16, NUL
// terminated. A null BSTR is the empty string (length 0).
MLR_API BSTR SysAllocString(const OLECHAR* psz);
MLR_API BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui);
MLR_API BSTR SysAllocStringByteLen(LPCSTR psz, UINT len);
MLR_API INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz);
MLR_API INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len);
MLR_API void SysFreeString(BSTR bstrString);
MLR_API UINT SysStringLen(BSTR pbstr);
MLR_API UINT SysStringByteLen(BSTR bstr);

// VARIANT. VariantClear frees what the value owns (nothing for VT_BYREF) and
// fails with DISP_E_BADVARTYPE on an invalid type; VariantCopy is deep;
// VariantCopyInd also removes one level of VT_BYREF.
//
// Conversions (VariantChangeType) follow the documented Windows rules, with
// text in the invariant ("C") format whatever the locale:
// - numbers to integers round half to even; a value outside the target's
//   range gives DISP_E_OVERFLOW (also NaN and infinities);
// - VT_BOOL is -1/0; numbers become TRUE when non-zero; TRUE converts to
//   unsigned types by two's complement (VT_UI1 255), as Windows does;
// - VT_EMPTY converts to 0, "", FALSE, a null interface; VT_NULL converts to
//   nothing but VT_NULL (DISP_E_TYPEMISMATCH); any value converts to VT_EMPTY;
// - strings parse as decimal numbers with optional sign, fraction and
//   exponent, surrounding blanks allowed, or "&H..." (hex) / "&O..." (octal);
//   "True"/"False" (any case) for VT_BOOL; anything else, including an empty
//   string, gives DISP_E_TYPEMISMATCH;
// - numbers format with up to 15 (VT_R8) or 7 (VT_R4) significant digits
//   ("0.1", "1E+20"); VT_BOOL formats as "-1"/"0", or "True"/"False" with
//   VARIANT_ALPHABOOL;
// - dates format as ISO 8601, "YYYY-MM-DD HH:MM:SS" (date only when there is
//   no time part, time only on day 0) and parse from that form, from
//   "M/D/YYYY [H:MM[:SS] [AM|PM]]" and from a time alone; a date outside
//   years 100..9999 gives DISP_E_OVERFLOW;
// - VT_DISPATCH converts to a scalar through its DISPID_VALUE property
//   unless VARIANT_NOVALUEPROP is given; VT_UNKNOWN <-> VT_DISPATCH through
//   QueryInterface (DISP_E_TYPEMISMATCH when not supported);
// - arrays convert only to their own type (a copy); VT_DECIMAL and VT_RECORD
//   are carried by copy only.
// The destination is changed only on success. (Windows builds use the
// system's rules, whose text forms follow the user's locale.)
MLR_API void VariantInit(VARIANTARG* pvarg);
MLR_API HRESULT VariantClear(VARIANTARG* pvarg);
MLR_API HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc);
MLR_API HRESULT VariantCopyInd(VARIANT* pvarDest, const VARIANTARG* pvargSrc);
MLR_API HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc,
                                  USHORT wFlags, VARTYPE vt);
MLR_API HRESULT VariantChangeTypeEx(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc,
                                    LCID lcid, USHORT wFlags, VARTYPE vt);

// SAFEARRAY. Bounds are given leftmost dimension first; indices passed to
// Get/PutElement and PtrOfIndex likewise (rgIndices[0] is the leftmost).
MLR_API SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound);
MLR_API SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements);
MLR_API HRESULT SafeArrayAllocDescriptor(UINT cDims, SAFEARRAY** ppsaOut);
MLR_API HRESULT SafeArrayAllocDescriptorEx(VARTYPE vt, UINT cDims, SAFEARRAY** ppsaOut);
MLR_API HRESULT SafeArrayAllocData(SAFEARRAY* psa);
MLR_API HRESULT SafeArrayDestroy(SAFEARRAY* psa);
MLR_API HRESULT SafeArrayDestroyData(SAFEARRAY* psa);
MLR_API HRESULT SafeArrayDestroyDescriptor(SAFEARRAY* psa);
MLR_API HRESULT SafeArrayLock(SAFEARRAY* psa);
MLR_API HRESULT SafeArrayUnlock(SAFEARRAY* psa);
MLR_API HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** ppvData);
MLR_API HRESULT SafeArrayUnaccessData(SAFEARRAY* psa);
MLR_API HRESULT SafeArrayGetElement(SAFEARRAY* psa, LONG* rgIndices, void* pv);
MLR_API HRESULT SafeArrayPutElement(SAFEARRAY* psa, LONG* rgIndices, void* pv);
MLR_API HRESULT SafeArrayPtrOfIndex(SAFEARRAY* psa, LONG* rgIndices, void** ppvData);
MLR_API HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT nDim, LONG* plLbound);
MLR_API HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT nDim, LONG* plUbound);
MLR_API UINT SafeArrayGetDim(SAFEARRAY* psa);
MLR_API UINT SafeArrayGetElemsize(SAFEARRAY* psa);
MLR_API HRESULT SafeArrayGetVartype(SAFEARRAY* psa, VARTYPE* pvt);
MLR_API HRESULT SafeArrayRedim(SAFEARRAY* psa, SAFEARRAYBOUND* psaboundNew);
MLR_API HRESULT SafeArrayCopy(SAFEARRAY* psa, SAFEARRAY** ppsaOut);
MLR_API HRESULT SafeArrayCopyData(SAFEARRAY* psaSource, SAFEARRAY* psaTarget);

// Thread error info. GetErrorInfo hands the thread's object over to the
// caller and clears it (S_FALSE and null when there is none).
MLR_API HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo);
MLR_API HRESULT SetErrorInfo(ULONG dwReserved, IErrorInfo* perrinfo);
MLR_API HRESULT GetErrorInfo(ULONG dwReserved, IErrorInfo** pperrinfo);

// Automation dates (days since 1899-12-30, fraction = time of day). Both
// return TRUE on success, FALSE for a date out of range.
MLR_API INT VariantTimeToSystemTime(DOUBLE vtime, LPSYSTEMTIME lpSystemTime);
MLR_API INT SystemTimeToVariantTime(LPSYSTEMTIME lpSystemTime, DOUBLE* pvtime);

// The path of a registered type library: the registry's
// HKEY_CLASSES_ROOT\TypeLib\{guid}\<major>.<minor>\<lcid>\posix (lcid and
// the version in hexadecimal, as Windows writes them; lcid 0 is tried when
// the given one is missing). TYPE_E_LIBNOTREGISTERED, with *lpbstrPathName
// null, when it is not registered; E_INVALIDARG for a null out pointer. The
// library's own type library is registered by mlr::RegisterModuleTypeLib
// (platform/type_library.h).
MLR_API HRESULT QueryPathOfRegTypeLib(REFGUID guid, USHORT wMaj, USHORT wMin, LCID lcid,
                                      BSTR* lpbstrPathName);
