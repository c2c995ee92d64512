// Automation types for the POSIX build: VARIANT, SAFEARRAY, DISPPARAMS,
// EXCEPINFO and the interfaces IDispatch, IEnumVARIANT, ISupportErrorInfo,
// IErrorInfo and ICreateErrorInfo, in the Windows layout and vtable order,
// with their Windows IIDs. Included through platform/win.h.
//
// SAFEARRAY keeps the Windows descriptor layout: rgsabound holds cDims bounds
// stored rightmost dimension first (rgsabound[0] is the last dimension given
// to SafeArrayCreate); the leftmost index varies fastest in memory.
#pragma once

#include "platform/unknwn.h"

struct IDispatch;
struct ITypeInfo;  // opaque: type information is not provided on POSIX
struct IRecordInfo;
struct IEnumVARIANT;

inline constexpr IID IID_IDispatch = {0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_ITypeInfo = {0x00020401, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IEnumVARIANT = {0x00020404, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_ISupportErrorInfo = {
    0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID IID_IErrorInfo = {
    0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID IID_ICreateErrorInfo = {
    0x22F03340, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

enum VARENUM {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_R4 = 4,
  VT_R8 = 5,
  VT_CY = 6,
  VT_DATE = 7,
  VT_BSTR = 8,
  VT_DISPATCH = 9,
  VT_ERROR = 10,
  VT_BOOL = 11,
  VT_VARIANT = 12,
  VT_UNKNOWN = 13,
  VT_DECIMAL = 14,
  VT_I1 = 16,
  VT_UI1 = 17,
  VT_UI2 = 18,
  VT_UI4 = 19,
  VT_I8 = 20,
  VT_UI8 = 21,
  VT_INT = 22,
  VT_UINT = 23,
  VT_VOID = 24,
  VT_HRESULT = 25,
  VT_PTR = 26,
  VT_SAFEARRAY = 27,
  VT_CARRAY = 28,
  VT_USERDEFINED = 29,
  VT_LPSTR = 30,
  VT_LPWSTR = 31,
  VT_RECORD = 36,
  VT_INT_PTR = 37,
  VT_UINT_PTR = 38,
  VT_FILETIME = 64,
  VT_BLOB = 65,
  VT_STREAM = 66,
  VT_STORAGE = 67,
  VT_STREAMED_OBJECT = 68,
  VT_STORED_OBJECT = 69,
  VT_BLOB_OBJECT = 70,
  VT_CF = 71,
  VT_CLSID = 72,
  VT_VERSIONED_STREAM = 73,
  VT_BSTR_BLOB = 0x0fff,
  VT_VECTOR = 0x1000,
  VT_ARRAY = 0x2000,
  VT_BYREF = 0x4000,
  VT_RESERVED = 0x8000,
  VT_ILLEGAL = 0xffff,
  VT_ILLEGALMASKED = 0x0fff,
  VT_TYPEMASK = 0x0fff
};

typedef struct tagSAFEARRAYBOUND {
  ULONG cElements;
  LONG lLbound;
} SAFEARRAYBOUND, *LPSAFEARRAYBOUND;

typedef struct tagSAFEARRAY {
  USHORT cDims;
  USHORT fFeatures;
  ULONG cbElements;
  ULONG cLocks;
  PVOID pvData;
  SAFEARRAYBOUND rgsabound[1];
} SAFEARRAY, *LPSAFEARRAY;

#define FADF_AUTO 0x0001
#define FADF_STATIC 0x0002
#define FADF_EMBEDDED 0x0004
#define FADF_FIXEDSIZE 0x0010
#define FADF_RECORD 0x0020
#define FADF_HAVEIID 0x0040
#define FADF_HAVEVARTYPE 0x0080
#define FADF_BSTR 0x0100
#define FADF_UNKNOWN 0x0200
#define FADF_DISPATCH 0x0400
#define FADF_VARIANT 0x0800
#define FADF_RESERVED 0xF008

typedef struct tagVARIANT VARIANT;
typedef struct tagVARIANT VARIANTARG;
typedef VARIANT* LPVARIANT;
typedef VARIANT* LPVARIANTARG;

struct tagVARIANT {
  union {
    struct {
      VARTYPE vt;
      WORD wReserved1;
      WORD wReserved2;
      WORD wReserved3;
      union {
        LONGLONG llVal;
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        FLOAT fltVal;
        DOUBLE dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        CY cyVal;
        DATE date;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        SAFEARRAY* parray;
        BYTE* pbVal;
        SHORT* piVal;
        LONG* plVal;
        LONGLONG* pllVal;
        FLOAT* pfltVal;
        DOUBLE* pdblVal;
        VARIANT_BOOL* pboolVal;
        SCODE* pscode;
        CY* pcyVal;
        DATE* pdate;
        BSTR* pbstrVal;
        IUnknown** ppunkVal;
        IDispatch** ppdispVal;
        SAFEARRAY** pparray;
        VARIANT* pvarVal;
        PVOID byref;
        CHAR cVal;
        USHORT uiVal;
        ULONG ulVal;
        ULONGLONG ullVal;
        INT intVal;
        UINT uintVal;
        DECIMAL* pdecVal;
        CHAR* pcVal;
        USHORT* puiVal;
        ULONG* pulVal;
        ULONGLONG* pullVal;
        INT* pintVal;
        UINT* puintVal;
        struct {
          PVOID pvRecord;
          IRecordInfo* pRecInfo;
        };
      };
    };
    DECIMAL decVal;
  };
};

// Accessors, as in the Windows headers.
#define V_VT(X) ((X)->vt)
#define V_ISBYREF(X) (V_VT(X) & VT_BYREF)
#define V_ISARRAY(X) (V_VT(X) & VT_ARRAY)
#define V_ISVECTOR(X) (V_VT(X) & VT_VECTOR)
#define V_NONE(X) V_I2(X)
#define V_UI1(X) ((X)->bVal)
#define V_UI1REF(X) ((X)->pbVal)
#define V_I1(X) ((X)->cVal)
#define V_I1REF(X) ((X)->pcVal)
#define V_I2(X) ((X)->iVal)
#define V_I2REF(X) ((X)->piVal)
#define V_UI2(X) ((X)->uiVal)
#define V_UI2REF(X) ((X)->puiVal)
#define V_I4(X) ((X)->lVal)
#define V_I4REF(X) ((X)->plVal)
#define V_UI4(X) ((X)->ulVal)
#define V_UI4REF(X) ((X)->pulVal)
#define V_I8(X) ((X)->llVal)
#define V_I8REF(X) ((X)->pllVal)
#define V_UI8(X) ((X)->ullVal)
#define V_UI8REF(X) ((X)->pullVal)
#define V_INT(X) ((X)->intVal)
#define V_INTREF(X) ((X)->pintVal)
#define V_UINT(X) ((X)->uintVal)
#define V_UINTREF(X) ((X)->puintVal)
#define V_R4(X) ((X)->fltVal)
#define V_R4REF(X) ((X)->pfltVal)
#define V_R8(X) ((X)->dblVal)
#define V_R8REF(X) ((X)->pdblVal)
#define V_BOOL(X) ((X)->boolVal)
#define V_BOOLREF(X) ((X)->pboolVal)
#define V_ERROR(X) ((X)->scode)
#define V_ERRORREF(X) ((X)->pscode)
#define V_CY(X) ((X)->cyVal)
#define V_CYREF(X) ((X)->pcyVal)
#define V_DATE(X) ((X)->date)
#define V_DATEREF(X) ((X)->pdate)
#define V_BSTR(X) ((X)->bstrVal)
#define V_BSTRREF(X) ((X)->pbstrVal)
#define V_UNKNOWN(X) ((X)->punkVal)
#define V_UNKNOWNREF(X) ((X)->ppunkVal)
#define V_DISPATCH(X) ((X)->pdispVal)
#define V_DISPATCHREF(X) ((X)->ppdispVal)
#define V_ARRAY(X) ((X)->parray)
#define V_ARRAYREF(X) ((X)->pparray)
#define V_BYREF(X) ((X)->byref)
#define V_VARIANTREF(X) ((X)->pvarVal)
#define V_DECIMAL(X) ((X)->decVal)
#define V_DECIMALREF(X) ((X)->pdecVal)

// VariantChangeType(Ex) flags.
#define VARIANT_NOVALUEPROP 0x01
#define VARIANT_ALPHABOOL 0x02
#define VARIANT_NOUSEROVERRIDE 0x04
#define VARIANT_CALENDAR_HIJRI 0x08
#define VARIANT_LOCALBOOL 0x10

typedef struct tagDISPPARAMS {
  VARIANTARG* rgvarg;         // arguments in reverse order
  DISPID* rgdispidNamedArgs;  // dispatch ids of the named arguments
  UINT cArgs;
  UINT cNamedArgs;
} DISPPARAMS;

typedef struct tagEXCEPINFO {
  WORD wCode;
  WORD wReserved;
  BSTR bstrSource;
  BSTR bstrDescription;
  BSTR bstrHelpFile;
  DWORD dwHelpContext;
  PVOID pvReserved;
  HRESULT(STDMETHODCALLTYPE* pfnDeferredFillIn)(struct tagEXCEPINFO*);
  SCODE scode;
} EXCEPINFO, *LPEXCEPINFO;

#define DISPATCH_METHOD 0x1
#define DISPATCH_PROPERTYGET 0x2
#define DISPATCH_PROPERTYPUT 0x4
#define DISPATCH_PROPERTYPUTREF 0x8

#define DISPID_UNKNOWN (-1)
#define DISPID_VALUE (0)
#define DISPID_PROPERTYPUT (-3)
#define DISPID_NEWENUM (-4)
#define DISPID_EVALUATE (-5)
#define DISPID_CONSTRUCTOR (-6)
#define DISPID_DESTRUCTOR (-7)
#define DISPID_COLLECT (-8)

struct IDispatch : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT iTInfo, LCID lcid, ITypeInfo** ppTInfo) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames,
                                                  LCID lcid, DISPID* rgDispId) = 0;
  virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID lcid,
                                           WORD wFlags, DISPPARAMS* pDispParams,
                                           VARIANT* pVarResult, EXCEPINFO* pExcepInfo,
                                           UINT* puArgErr) = 0;

 protected:
  ~IDispatch() = default;
};
typedef IDispatch* LPDISPATCH;

struct IEnumVARIANT : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG celt, VARIANT* rgVar, ULONG* pCeltFetched) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG celt) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** ppEnum) = 0;

 protected:
  ~IEnumVARIANT() = default;
};

struct ISupportErrorInfo : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) = 0;

 protected:
  ~ISupportErrorInfo() = default;
};

struct IErrorInfo : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetGUID(GUID* pGUID) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSource(BSTR* pBstrSource) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR* pBstrDescription) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* pBstrHelpFile) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* pdwHelpContext) = 0;

 protected:
  ~IErrorInfo() = default;
};

struct ICreateErrorInfo : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE SetGUID(REFGUID rguid) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR szSource) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR szDescription) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR szHelpFile) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD dwHelpContext) = 0;

 protected:
  ~ICreateErrorInfo() = default;
};
