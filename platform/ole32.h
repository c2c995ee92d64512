// The object runtime API (POSIX build): apartments, class activation over an
// in-process class table, task memory, GUID strings, memory streams,
// PROPVARIANT and the structured-storage entry points. Exported with C
// linkage. Included through platform/win.h.
//
// Apartments: CoInitializeEx records the thread's model; a second call on the
// same thread returns S_FALSE (RPC_E_CHANGED_MODE when the model differs) and
// must be balanced by CoUninitialize. Objects are free-threaded whatever the
// model, and CoCreateInstance works on any thread, initialised or not.
// Classes: CoCreateInstance/CoGetClassObject look up the classes registered
// in-process (CoRegisterClassObject, mlr::RegisterClassObject in
// platform/class_registry.h) first, then the classes registered in the
// registry (platform/winreg.h): the library named by
// HKEY_CLASSES_ROOT\CLSID\{clsid}\InprocServer32 is loaded (and stays
// loaded) and asked for its class object through its DllGetClassObject.
// REGDB_E_CLASSNOTREG when neither knows the class,
// HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND) when the registered library cannot
// be loaded, CO_E_ERRORINDLL when it exports no DllGetClassObject.
// CLSID_StdGlobalInterfaceTable is always available.
#pragma once

#include "platform/export.h"
#include "platform/propidl.h"

#define CLSCTX_INPROC_SERVER 0x1
#define CLSCTX_INPROC_HANDLER 0x2
#define CLSCTX_LOCAL_SERVER 0x4
#define CLSCTX_REMOTE_SERVER 0x10
#define CLSCTX_INPROC (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER)
#define CLSCTX_SERVER (CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER)
#define CLSCTX_ALL (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER)

#define COINIT_MULTITHREADED 0x0
#define COINIT_APARTMENTTHREADED 0x2
#define COINIT_DISABLE_OLE1DDE 0x4
#define COINIT_SPEED_OVER_MEMORY 0x8

#define REGCLS_SINGLEUSE 0
#define REGCLS_MULTIPLEUSE 1
#define REGCLS_MULTI_SEPARATE 2
#define REGCLS_SUSPENDED 4

MLR_API HRESULT CoInitialize(LPVOID pvReserved);
MLR_API HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit);
MLR_API void CoUninitialize(void);
MLR_API HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown* pUnkOuter, DWORD dwClsContext,
                                 REFIID riid, LPVOID* ppv);
MLR_API HRESULT CoGetClassObject(REFCLSID rclsid, DWORD dwClsContext, LPVOID pvReserved,
                                 REFIID riid, LPVOID* ppv);
// Registers a class object (an IClassFactory) for the process; *lpdwRegister
// receives the cookie for CoRevokeClassObject.
MLR_API HRESULT CoRegisterClassObject(REFCLSID rclsid, IUnknown* pUnk, DWORD dwClsContext,
                                      DWORD flags, LPDWORD lpdwRegister);
MLR_API HRESULT CoRevokeClassObject(DWORD dwRegister);

MLR_API LPVOID CoTaskMemAlloc(SIZE_T cb);
MLR_API LPVOID CoTaskMemRealloc(LPVOID pv, SIZE_T cb);
MLR_API void CoTaskMemFree(LPVOID pv);

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" text forms. StringFromGUID2
// returns the number of characters written including the NUL (0 when cchMax
// is too small).
MLR_API int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax);
MLR_API HRESULT CLSIDFromString(LPCOLESTR lpsz, LPCLSID pclsid);
MLR_API HRESULT IIDFromString(LPCOLESTR lpsz, LPIID lpiid);
// The class of a program identifier, from the registry's
// HKEY_CLASSES_ROOT\<progid>\CLSID; CO_E_CLASSSTRING when it is not
// registered (*lpclsid = CLSID_NULL), E_INVALIDARG for null arguments.
MLR_API HRESULT CLSIDFromProgID(LPCOLESTR lpszProgID, LPCLSID lpclsid);

// A growable memory stream. hGlobal must be null (a new block is used);
// fDeleteOnRelease is accepted and ignored. Clone shares the data and has its
// own seek pointer.
MLR_API HRESULT CreateStreamOnHGlobal(HGLOBAL hGlobal, BOOL fDeleteOnRelease, LPSTREAM* ppstm);

// PROPVARIANT: PropVariantClear frees what the value owns and sets VT_EMPTY.
inline void PropVariantInit(PROPVARIANT* pvar) {
  char* p = reinterpret_cast<char*>(pvar);
  for (size_t i = 0; i < sizeof(PROPVARIANT); ++i) p[i] = 0;
}
MLR_API HRESULT PropVariantClear(PROPVARIANT* pvar);
MLR_API HRESULT PropVariantCopy(PROPVARIANT* pvarDest, const PROPVARIANT* pvarSrc);
MLR_API HRESULT FreePropVariantArray(ULONG cVariants, PROPVARIANT* rgvars);

// Structured storage: implemented by the compound-file engine in storage/.
MLR_API HRESULT StgCreateDocfile(const WCHAR* pwcsName, DWORD grfMode, DWORD reserved,
                                 IStorage** ppstgOpen);
MLR_API HRESULT StgOpenStorage(const WCHAR* pwcsName, IStorage* pstgPriority, DWORD grfMode,
                               SNB snbExclude, DWORD reserved, IStorage** ppstgOpen);
MLR_API HRESULT StgIsStorageFile(const WCHAR* pwcsName);
MLR_API HRESULT StgCreateStorageEx(const WCHAR* pwcsName, DWORD grfMode, DWORD stgfmt,
                                   DWORD grfAttrs, STGOPTIONS* pStgOptions,
                                   void* pSecurityDescriptor, REFIID riid, void** ppObjectOpen);
MLR_API HRESULT StgOpenStorageEx(const WCHAR* pwcsName, DWORD grfMode, DWORD stgfmt,
                                 DWORD grfAttrs, STGOPTIONS* pStgOptions,
                                 void* pSecurityDescriptor, REFIID riid, void** ppObjectOpen);
MLR_API HRESULT StgCreatePropSetStg(IStorage* pStorage, DWORD Reserved,
                                    IPropertySetStorage** ppPropSetStg);
