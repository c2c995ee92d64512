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

// VARIANT.
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

// Type libraries are not registered on POSIX: QueryPathOfRegTypeLib always
// fails with TYPE_E_LIBNOTREGISTERED and leaves *lpbstrPathName null.
MLR_API HRESULT QueryPathOfRegTypeLib(REFGUID guid, USHORT wMaj, USHORT wMin, LCID lcid,
                                      BSTR* lpbstrPathName);
