// Basic Windows types, calling-convention macros and small structures for the
// POSIX build. Widths follow the Windows data model (LLP64): LONG and ULONG
// are 32-bit, never the C++ `long`. Included through platform/win.h only.
#pragma once

#include <cstddef>
#include <cstdint>

// Calling conventions do not exist on POSIX; the macros keep declarations
// identical to the Windows ones.
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define WINAPI
#define CALLBACK
#define APIENTRY
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE
#define STDMETHOD(method) virtual HRESULT STDMETHODCALLTYPE method
#define STDMETHOD_(type, method) virtual type STDMETHODCALLTYPE method
#define PURE = 0
#define THIS_
#define THIS void

typedef void VOID;
typedef void* PVOID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef uint8_t BYTE;
typedef BYTE* LPBYTE;
typedef uint8_t UCHAR;
typedef uint8_t BOOLEAN;
typedef char CHAR;
typedef int16_t SHORT;
typedef uint16_t USHORT;
typedef uint16_t WORD;
typedef int INT;
typedef unsigned int UINT;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef uint32_t DWORD;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef uint64_t DWORD64;
typedef intptr_t INT_PTR;
typedef uintptr_t UINT_PTR;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t DWORD_PTR;
typedef size_t SIZE_T;
typedef ptrdiff_t SSIZE_T;
typedef float FLOAT;
typedef double DOUBLE;
typedef int BOOL;
typedef DWORD* LPDWORD;
typedef DWORD* PDWORD;
typedef LONG* LPLONG;
typedef LONG* PLONG;
typedef ULONG* PULONG;
typedef WORD* LPWORD;
typedef BOOL* LPBOOL;
typedef INT* LPINT;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// Characters: the "ANSI" code page is UTF-8; wide characters are UTF-16.
typedef char16_t WCHAR;
typedef char16_t OLECHAR;
typedef CHAR* LPSTR;
typedef const CHAR* LPCSTR;
typedef CHAR* PSTR;
typedef const CHAR* PCSTR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* LPCWSTR;
typedef WCHAR* PWSTR;
typedef const WCHAR* PCWSTR;
typedef OLECHAR* LPOLESTR;
typedef const OLECHAR* LPCOLESTR;
typedef OLECHAR* BSTR;
typedef BSTR* LPBSTR;
#define OLESTR(str) u##str
#define L_OLE(str) u##str

// Automation scalars.
typedef LONG HRESULT;
typedef LONG SCODE;
typedef LONG DISPID;
typedef LONG MEMBERID;
typedef DWORD LCID;
typedef WORD LANGID;
typedef USHORT VARTYPE;
typedef short VARIANT_BOOL;
typedef double DATE;
typedef ULONG PROPID;
#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

// Handles are opaque pointers; see platform/kernel.h for what they refer to.
typedef void* HANDLE;
typedef HANDLE* PHANDLE;
typedef HANDLE* LPHANDLE;
struct HINSTANCE__;
typedef HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
typedef HANDLE HGLOBAL;
typedef HANDLE HKEY;
typedef HANDLE HWND;
typedef LONG_PTR (*FARPROC)();
#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)

typedef union _LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  };
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
} LARGE_INTEGER, *PLARGE_INTEGER;

typedef union _ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  };
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  ULONGLONG QuadPart;
} ULARGE_INTEGER, *PULARGE_INTEGER;

// 100-nanosecond intervals since 1601-01-01 UTC.
typedef struct _FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

typedef struct _SYSTEMTIME {
  WORD wYear;
  WORD wMonth;      // 1..12
  WORD wDayOfWeek;  // 0 = Sunday
  WORD wDay;        // 1..31
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

typedef union tagCY {
  struct {
    ULONG Lo;
    LONG Hi;
  };
  LONGLONG int64;
} CY, CURRENCY;

typedef struct tagDEC {
  USHORT wReserved;
  union {
    struct {
      BYTE scale;
      BYTE sign;
    };
    USHORT signscale;
  };
  ULONG Hi32;
  union {
    struct {
      ULONG Lo32;
      ULONG Mid32;
    };
    ULONGLONG Lo64;
  };
} DECIMAL;

typedef struct _SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *PSECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

typedef struct _BLOB {
  ULONG cbSize;
  BYTE* pBlobData;
} BLOB, *LPBLOB;

#define MAX_PATH 260
#define INFINITE 0xFFFFFFFFu
#define MAKELONG(a, b) ((LONG)(((WORD)(((DWORD_PTR)(a)) & 0xffff)) | ((DWORD)((WORD)(((DWORD_PTR)(b)) & 0xffff))) << 16))
#define MAKEWORD(a, b) ((WORD)(((BYTE)(((DWORD_PTR)(a)) & 0xff)) | ((WORD)((BYTE)(((DWORD_PTR)(b)) & 0xff))) << 8))
#define LOWORD(l) ((WORD)(((DWORD_PTR)(l)) & 0xffff))
#define HIWORD(l) ((WORD)((((DWORD_PTR)(l)) >> 16) & 0xffff))
#define LOBYTE(w) ((BYTE)(((DWORD_PTR)(w)) & 0xff))
#define HIBYTE(w) ((BYTE)((((DWORD_PTR)(w)) >> 8) & 0xff))

// Locales: the runtime formats and parses numbers in the "C" locale whatever
// LCID is passed.
#define LOCALE_NEUTRAL 0x0000
#define LOCALE_INVARIANT 0x007F
#define LOCALE_USER_DEFAULT 0x0400
#define LOCALE_SYSTEM_DEFAULT 0x0800
#define LANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define MAKELANGID(p, s) ((((WORD)(s)) << 10) | (WORD)(p))
#define MAKELCID(lgid, srtid) ((DWORD)((((DWORD)((WORD)(srtid))) << 16) | ((DWORD)((WORD)(lgid)))))
