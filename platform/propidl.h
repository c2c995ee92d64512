// Property-set types for the POSIX build: PROPVARIANT, PROPSPEC,
// STATPROPSTG, STATPROPSETSTG, IPropertyStorage, IPropertySetStorage and
// their enumerators, in the Windows layout and vtable order, with the Windows
// IIDs; the summary-information format identifier and PIDSI_ ids. Included
// through platform/win.h.
#pragma once

#include "platform/objidl.h"

inline constexpr IID IID_IPropertyStorage = {0x00000138, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IEnumSTATPROPSTG = {0x00000139, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IPropertySetStorage = {
    0x0000013A, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IEnumSTATPROPSETSTG = {
    0x0000013B, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr FMTID FMTID_SummaryInformation = {
    0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}};
inline constexpr FMTID FMTID_DocSummaryInformation = {
    0xD5CDD502, 0x2E9C, 0x101B, {0x93, 0x97, 0x08, 0x00, 0x2B, 0x2C, 0xF9, 0xAE}};
inline constexpr FMTID FMTID_UserDefinedProperties = {
    0xD5CDD505, 0x2E9C, 0x101B, {0x93, 0x97, 0x08, 0x00, 0x2B, 0x2C, 0xF9, 0xAE}};

#define PROPSETFLAG_DEFAULT 0
#define PROPSETFLAG_NONSIMPLE 1
#define PROPSETFLAG_ANSI 2
#define PROPSETFLAG_UNBUFFERED 4
#define PROPSETFLAG_CASE_SENSITIVE 8

#define PRSPEC_INVALID 0xffffffff
#define PRSPEC_LPWSTR 0
#define PRSPEC_PROPID 1

#define PID_DICTIONARY 0x00000000
#define PID_CODEPAGE 0x00000001
#define PID_FIRST_USABLE 0x00000002
#define PID_FIRST_NAME_DEFAULT 0x00000fff
#define PID_LOCALE 0x80000000
#define PID_MODIFY_TIME 0x80000001
#define PID_SECURITY 0x80000002
#define PID_BEHAVIOR 0x80000003
#define PID_ILLEGAL 0xffffffff

// Summary information property ids.
#define PIDSI_TITLE 0x00000002L
#define PIDSI_SUBJECT 0x00000003L
#define PIDSI_AUTHOR 0x00000004L
#define PIDSI_KEYWORDS 0x00000005L
#define PIDSI_COMMENTS 0x00000006L
#define PIDSI_TEMPLATE 0x00000007L
#define PIDSI_LASTAUTHOR 0x00000008L
#define PIDSI_REVNUMBER 0x00000009L
#define PIDSI_EDITTIME 0x0000000aL
#define PIDSI_LASTPRINTED 0x0000000bL
#define PIDSI_CREATE_DTM 0x0000000cL
#define PIDSI_LASTSAVE_DTM 0x0000000dL
#define PIDSI_PAGECOUNT 0x0000000eL
#define PIDSI_WORDCOUNT 0x0000000fL
#define PIDSI_CHARCOUNT 0x00000010L
#define PIDSI_THUMBNAIL 0x00000011L
#define PIDSI_APPNAME 0x00000012L
#define PIDSI_DOC_SECURITY 0x00000013L

typedef struct tagPROPVARIANT PROPVARIANT;

typedef struct tagCAUB { ULONG cElems; UCHAR* pElems; } CAUB;
typedef struct tagCAI { ULONG cElems; SHORT* pElems; } CAI;
typedef struct tagCAUI { ULONG cElems; USHORT* pElems; } CAUI;
typedef struct tagCAL { ULONG cElems; LONG* pElems; } CAL;
typedef struct tagCAUL { ULONG cElems; ULONG* pElems; } CAUL;
typedef struct tagCAFLT { ULONG cElems; FLOAT* pElems; } CAFLT;
typedef struct tagCADBL { ULONG cElems; DOUBLE* pElems; } CADBL;
typedef struct tagCABOOL { ULONG cElems; VARIANT_BOOL* pElems; } CABOOL;
typedef struct tagCAFILETIME { ULONG cElems; FILETIME* pElems; } CAFILETIME;
typedef struct tagCABSTR { ULONG cElems; BSTR* pElems; } CABSTR;
typedef struct tagCALPSTR { ULONG cElems; LPSTR* pElems; } CALPSTR;
typedef struct tagCALPWSTR { ULONG cElems; LPWSTR* pElems; } CALPWSTR;
typedef struct tagCAPROPVARIANT { ULONG cElems; PROPVARIANT* pElems; } CAPROPVARIANT;

// Strings, blobs and vectors are allocated with CoTaskMemAlloc (BSTRs with
// SysAllocString); PropVariantClear frees them.
struct tagPROPVARIANT {
  VARTYPE vt;
  WORD wReserved1;
  WORD wReserved2;
  WORD wReserved3;
  union {
    CHAR cVal;
    UCHAR bVal;
    SHORT iVal;
    USHORT uiVal;
    LONG lVal;
    ULONG ulVal;
    INT intVal;
    UINT uintVal;
    LARGE_INTEGER hVal;
    ULARGE_INTEGER uhVal;
    FLOAT fltVal;
    DOUBLE dblVal;
    VARIANT_BOOL boolVal;
    SCODE scode;
    CY cyVal;
    DATE date;
    FILETIME filetime;
    CLSID* puuid;
    BLOB blob;
    BSTR bstrVal;
    LPSTR pszVal;
    LPWSTR pwszVal;
    IUnknown* punkVal;
    IDispatch* pdispVal;
    IStream* pStream;
    IStorage* pStorage;
    SAFEARRAY* parray;
    CAUB caub;
    CAI cai;
    CAUI caui;
    CAL cal;
    CAUL caul;
    CAFLT caflt;
    CADBL cadbl;
    CABOOL cabool;
    CAFILETIME cafiletime;
    CABSTR cabstr;
    CALPSTR calpstr;
    CALPWSTR calpwstr;
    CAPROPVARIANT capropvar;
    PVOID byref;
  };
};
typedef PROPVARIANT* LPPROPVARIANT;
typedef const PROPVARIANT* REFPROPVARIANT;

typedef struct tagPROPSPEC {
  ULONG ulKind;  // PRSPEC_LPWSTR or PRSPEC_PROPID
  union {
    PROPID propid;
    LPOLESTR lpwstr;
  };
} PROPSPEC;

// lpwstrName is allocated with CoTaskMemAlloc (null when unnamed).
typedef struct tagSTATPROPSTG {
  LPOLESTR lpwstrName;
  PROPID propid;
  VARTYPE vt;
} STATPROPSTG;

typedef struct tagSTATPROPSETSTG {
  FMTID fmtid;
  CLSID clsid;
  DWORD grfFlags;
  FILETIME mtime;
  FILETIME ctime;
  FILETIME atime;
  DWORD dwOSVersion;
} STATPROPSETSTG;

struct IEnumSTATPROPSTG : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG celt, STATPROPSTG* rgelt, ULONG* pceltFetched) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG celt) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumSTATPROPSTG** ppenum) = 0;

 protected:
  ~IEnumSTATPROPSTG() = default;
};

struct IEnumSTATPROPSETSTG : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG celt, STATPROPSETSTG* rgelt,
                                         ULONG* pceltFetched) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG celt) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumSTATPROPSETSTG** ppenum) = 0;

 protected:
  ~IEnumSTATPROPSETSTG() = default;
};

struct IPropertyStorage : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE ReadMultiple(ULONG cpspec, const PROPSPEC rgpspec[],
                                                 PROPVARIANT rgpropvar[]) = 0;
  virtual HRESULT STDMETHODCALLTYPE WriteMultiple(ULONG cpspec, const PROPSPEC rgpspec[],
                                                  const PROPVARIANT rgpropvar[],
                                                  PROPID propidNameFirst) = 0;
  virtual HRESULT STDMETHODCALLTYPE DeleteMultiple(ULONG cpspec, const PROPSPEC rgpspec[]) = 0;
  virtual HRESULT STDMETHODCALLTYPE ReadPropertyNames(ULONG cpropid, const PROPID rgpropid[],
                                                      LPOLESTR rglpwstrName[]) = 0;
  virtual HRESULT STDMETHODCALLTYPE WritePropertyNames(ULONG cpropid, const PROPID rgpropid[],
                                                       const LPOLESTR rglpwstrName[]) = 0;
  virtual HRESULT STDMETHODCALLTYPE DeletePropertyNames(ULONG cpropid,
                                                        const PROPID rgpropid[]) = 0;
  virtual HRESULT STDMETHODCALLTYPE Commit(DWORD grfCommitFlags) = 0;
  virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
  virtual HRESULT STDMETHODCALLTYPE Enum(IEnumSTATPROPSTG** ppenum) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetTimes(const FILETIME* pctime, const FILETIME* patime,
                                             const FILETIME* pmtime) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetClass(REFCLSID clsid) = 0;
  virtual HRESULT STDMETHODCALLTYPE Stat(STATPROPSETSTG* pstatpsstg) = 0;

 protected:
  ~IPropertyStorage() = default;
};

struct IPropertySetStorage : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Create(REFFMTID rfmtid, const CLSID* pclsid, DWORD grfFlags,
                                           DWORD grfMode, IPropertyStorage** ppprstg) = 0;
  virtual HRESULT STDMETHODCALLTYPE Open(REFFMTID rfmtid, DWORD grfMode,
                                         IPropertyStorage** ppprstg) = 0;
  virtual HRESULT STDMETHODCALLTYPE Delete(REFFMTID rfmtid) = 0;
  virtual HRESULT STDMETHODCALLTYPE Enum(IEnumSTATPROPSETSTG** ppenum) = 0;

 protected:
  ~IPropertySetStorage() = default;
};
