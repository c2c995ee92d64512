// PROPVARIANT: clearing and deep copies of the value kinds property sets use.
// Strings (VT_LPSTR, VT_LPWSTR), blobs, CLSIDs and vectors are CoTaskMem
// blocks; BSTRs are BSTRs. A type the runtime does not know gives
// DISP_E_BADVARTYPE and leaves the value alone.
#if !defined(_WIN32)

#include "platform/win.h"

#include <cstring>

namespace {

size_t Strlen16(const WCHAR* s) {
  size_t n = 0;
  while (s[n]) ++n;
  return n;
}

// Element size of a VT_VECTOR of `base`, 0 for unsupported.
size_t VectorElementSize(VARTYPE base) {
  switch (base) {
    case VT_I1: case VT_UI1: return 1;
    case VT_I2: case VT_UI2: case VT_BOOL: return 2;
    case VT_I4: case VT_UI4: case VT_R4: case VT_ERROR: return 4;
    case VT_I8: case VT_UI8: case VT_R8: case VT_DATE: case VT_CY: case VT_FILETIME: return 8;
    case VT_BSTR: case VT_LPSTR: case VT_LPWSTR: return sizeof(void*);
    case VT_VARIANT: return sizeof(PROPVARIANT);
    case VT_CLSID: return sizeof(CLSID);
    default: return 0;
  }
}

bool Known(VARTYPE vt) {
  if (vt & VT_VECTOR) return VectorElementSize(vt & VT_TYPEMASK) != 0;
  if (vt & VT_ARRAY) return true;
  switch (vt) {
    case VT_EMPTY: case VT_NULL: case VT_I1: case VT_UI1: case VT_I2: case VT_UI2: case VT_BOOL:
    case VT_I4: case VT_UI4: case VT_INT: case VT_UINT: case VT_R4: case VT_ERROR: case VT_I8:
    case VT_UI8: case VT_R8: case VT_DATE: case VT_CY: case VT_FILETIME: case VT_BSTR:
    case VT_LPSTR: case VT_LPWSTR: case VT_BLOB: case VT_CLSID: case VT_UNKNOWN: case VT_DISPATCH:
    case VT_STREAM: case VT_STORAGE:
      return true;
    default:
      return false;
  }
}

void* Duplicate(const void* src, size_t bytes) {
  void* p = CoTaskMemAlloc(bytes);
  if (p && bytes) std::memcpy(p, src, bytes);
  return p;
}

}  // namespace

HRESULT PropVariantClear(PROPVARIANT* pvar) {
  if (!pvar) return S_OK;
  VARTYPE vt = pvar->vt;
  if (!Known(vt)) return DISP_E_BADVARTYPE;
  if (vt & VT_VECTOR) {
    VARTYPE base = vt & VT_TYPEMASK;
    ULONG n = pvar->cal.cElems;
    void* elems = pvar->cal.pElems;
    for (ULONG i = 0; elems && i < n; ++i) {
      if (base == VT_BSTR) SysFreeString(static_cast<BSTR*>(elems)[i]);
      if (base == VT_LPSTR) CoTaskMemFree(static_cast<LPSTR*>(elems)[i]);
      if (base == VT_LPWSTR) CoTaskMemFree(static_cast<LPWSTR*>(elems)[i]);
      if (base == VT_VARIANT) PropVariantClear(static_cast<PROPVARIANT*>(elems) + i);
    }
    CoTaskMemFree(elems);
  } else if (vt & VT_ARRAY) {
    SafeArrayDestroy(pvar->parray);
  } else {
    switch (vt) {
      case VT_BSTR: SysFreeString(pvar->bstrVal); break;
      case VT_LPSTR: CoTaskMemFree(pvar->pszVal); break;
      case VT_LPWSTR: CoTaskMemFree(pvar->pwszVal); break;
      case VT_BLOB: CoTaskMemFree(pvar->blob.pBlobData); break;
      case VT_CLSID: CoTaskMemFree(pvar->puuid); break;
      case VT_UNKNOWN: case VT_DISPATCH: case VT_STREAM: case VT_STORAGE:
        if (pvar->punkVal) pvar->punkVal->Release();
        break;
      default: break;
    }
  }
  PropVariantInit(pvar);
  return S_OK;
}

HRESULT PropVariantCopy(PROPVARIANT* pvarDest, const PROPVARIANT* pvarSrc) {
  if (!pvarDest || !pvarSrc) return E_INVALIDARG;
  VARTYPE vt = pvarSrc->vt;
  if (!Known(vt)) return DISP_E_BADVARTYPE;
  PROPVARIANT copy = *pvarSrc;
  if (vt & VT_VECTOR) {
    VARTYPE base = vt & VT_TYPEMASK;
    size_t size = VectorElementSize(base);
    ULONG n = pvarSrc->cal.cElems;
    copy.cal.pElems = nullptr;
    copy.cal.cElems = 0;
    if (n) {
      if (n > (SIZE_MAX / 2) / size) return E_OUTOFMEMORY;
      void* elems = CoTaskMemAlloc(n * size);
      if (!elems) return E_OUTOFMEMORY;
      std::memset(elems, 0, n * size);
      copy.cal.pElems = static_cast<LONG*>(elems);
      copy.cal.cElems = n;
      const void* src = pvarSrc->cal.pElems;
      HRESULT hr = S_OK;
      for (ULONG i = 0; i < n && SUCCEEDED(hr); ++i) {
        if (base == VT_BSTR) {
          BSTR s = static_cast<const BSTR*>(src)[i];
          if (s) {
            BSTR d = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(s), SysStringByteLen(s));
            if (!d) hr = E_OUTOFMEMORY;
            static_cast<BSTR*>(elems)[i] = d;
          }
        } else if (base == VT_LPSTR) {
          LPSTR s = static_cast<const LPSTR*>(src)[i];
          if (s) {
            void* d = Duplicate(s, std::strlen(s) + 1);
            if (!d) hr = E_OUTOFMEMORY;
            static_cast<LPSTR*>(elems)[i] = static_cast<LPSTR>(d);
          }
        } else if (base == VT_LPWSTR) {
          LPWSTR s = static_cast<const LPWSTR*>(src)[i];
          if (s) {
            void* d = Duplicate(s, (Strlen16(s) + 1) * sizeof(WCHAR));
            if (!d) hr = E_OUTOFMEMORY;
            static_cast<LPWSTR*>(elems)[i] = static_cast<LPWSTR>(d);
          }
        } else if (base == VT_VARIANT) {
          hr = PropVariantCopy(static_cast<PROPVARIANT*>(elems) + i,
                               static_cast<const PROPVARIANT*>(src) + i);
        } else {
          std::memcpy(static_cast<char*>(elems) + i * size,
                      static_cast<const char*>(src) + i * size, size);
        }
      }
      if (FAILED(hr)) {
        PropVariantClear(&copy);
        return hr;
      }
    }
  } else if (vt & VT_ARRAY) {
    HRESULT hr = SafeArrayCopy(pvarSrc->parray, &copy.parray);
    if (FAILED(hr)) return hr;
  } else {
    switch (vt) {
      case VT_BSTR:
        if (pvarSrc->bstrVal) {
          copy.bstrVal = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(pvarSrc->bstrVal),
                                               SysStringByteLen(pvarSrc->bstrVal));
          if (!copy.bstrVal) return E_OUTOFMEMORY;
        }
        break;
      case VT_LPSTR:
        if (pvarSrc->pszVal) {
          copy.pszVal = static_cast<LPSTR>(
              Duplicate(pvarSrc->pszVal, std::strlen(pvarSrc->pszVal) + 1));
          if (!copy.pszVal) return E_OUTOFMEMORY;
        }
        break;
      case VT_LPWSTR:
        if (pvarSrc->pwszVal) {
          copy.pwszVal = static_cast<LPWSTR>(
              Duplicate(pvarSrc->pwszVal, (Strlen16(pvarSrc->pwszVal) + 1) * sizeof(WCHAR)));
          if (!copy.pwszVal) return E_OUTOFMEMORY;
        }
        break;
      case VT_BLOB:
        if (pvarSrc->blob.pBlobData) {
          copy.blob.pBlobData =
              static_cast<BYTE*>(Duplicate(pvarSrc->blob.pBlobData, pvarSrc->blob.cbSize));
          if (!copy.blob.pBlobData) return E_OUTOFMEMORY;
        }
        break;
      case VT_CLSID:
        if (pvarSrc->puuid) {
          copy.puuid = static_cast<CLSID*>(Duplicate(pvarSrc->puuid, sizeof(CLSID)));
          if (!copy.puuid) return E_OUTOFMEMORY;
        }
        break;
      case VT_UNKNOWN: case VT_DISPATCH: case VT_STREAM: case VT_STORAGE:
        if (pvarSrc->punkVal) pvarSrc->punkVal->AddRef();
        break;
      default:
        break;
    }
  }
  *pvarDest = copy;
  return S_OK;
}

HRESULT FreePropVariantArray(ULONG cVariants, PROPVARIANT* rgvars) {
  if (!rgvars) return E_INVALIDARG;
  for (ULONG i = 0; i < cVariants; ++i) PropVariantClear(rgvars + i);
  return S_OK;
}

#endif  // !_WIN32
