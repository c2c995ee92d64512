// SAFEARRAY. The descriptor is allocated with a 16-byte prefix that holds the
// element VARTYPE in its last four bytes (FADF_HAVEVARTYPE), as on Windows.
// rgsabound is stored rightmost dimension first; the leftmost index varies
// fastest. Every size computation is checked for overflow; element offsets
// (counts) and byte offsets are kept apart; a data block is at most 4 GiB.
#if !defined(_WIN32)

#include "platform/win.h"
#include "platform/posix/block_pool.h"
#include "platform/safearray_uninit.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kPrefix = 16;
// The largest data block an array may have (4 GiB); larger sizes fail as
// out of memory rather than asking the allocator for absurd amounts.
constexpr uint64_t kMaxDataBytes = uint64_t{1} << 32;
constexpr USHORT kTypeFlags = FADF_HAVEVARTYPE | FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH |
                              FADF_VARIANT | FADF_HAVEIID | FADF_RECORD;

ULONG ElementSize(VARTYPE vt) {
  switch (vt) {
    case VT_I1:
    case VT_UI1:
      return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
      return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
      return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_DATE:
    case VT_CY:
      return 8;
    case VT_BSTR:
    case VT_UNKNOWN:
    case VT_DISPATCH:
      return sizeof(void*);
    case VT_VARIANT:
      return sizeof(VARIANT);
    case VT_DECIMAL:
      return sizeof(DECIMAL);
    default:
      return 0;
  }
}

USHORT FeaturesFor(VARTYPE vt) {
  switch (vt) {
    case VT_BSTR:
      return FADF_BSTR;
    case VT_UNKNOWN:
      return FADF_UNKNOWN;
    case VT_DISPATCH:
      return FADF_DISPATCH;
    case VT_VARIANT:
      return FADF_VARIANT;
    default:
      return 0;
  }
}

unsigned char* Block(SAFEARRAY* psa) { return reinterpret_cast<unsigned char*>(psa) - kPrefix; }

void StoreVartype(SAFEARRAY* psa, VARTYPE vt) {
  DWORD v = vt;
  std::memcpy(Block(psa) + kPrefix - sizeof(DWORD), &v, sizeof v);
}

// Number of elements, or false on overflow.
bool CellCount(const SAFEARRAY* psa, uint64_t* count) {
  uint64_t n = 1;
  for (USHORT i = 0; i < psa->cDims; ++i) {
    if (__builtin_mul_overflow(n, uint64_t{psa->rgsabound[i].cElements}, &n)) return false;
  }
  *count = n;
  return true;
}

bool ByteCount(const SAFEARRAY* psa, size_t* bytes) {
  uint64_t cells;
  if (!CellCount(psa, &cells)) return false;
  uint64_t total;
  if (__builtin_mul_overflow(cells, uint64_t{psa->cbElements}, &total)) return false;
  if (total > kMaxDataBytes) return false;
  *bytes = static_cast<size_t>(total);
  return true;
}

// Element index of rgIndices (leftmost first), or false when out of bounds.
bool CellIndex(const SAFEARRAY* psa, const LONG* rgIndices, uint64_t* cell) {
  uint64_t index = 0;
  uint64_t stride = 1;
  for (USHORT dim = 0; dim < psa->cDims; ++dim) {
    const SAFEARRAYBOUND& b = psa->rgsabound[psa->cDims - 1 - dim];
    int64_t offset = int64_t{rgIndices[dim]} - int64_t{b.lLbound};
    if (offset < 0 || offset >= int64_t{b.cElements}) return false;
    index += static_cast<uint64_t>(offset) * stride;  // < cells, no overflow
    stride *= b.cElements;
  }
  *cell = index;
  return true;
}

// Frees/releases/clears `count` elements starting at `data`.
void ClearCells(SAFEARRAY* psa, unsigned char* data, uint64_t count) {
  if (psa->fFeatures & FADF_BSTR) {
    for (uint64_t i = 0; i < count; ++i) {
      BSTR* p = reinterpret_cast<BSTR*>(data) + i;
      SysFreeString(*p);
      *p = nullptr;
    }
  } else if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
    for (uint64_t i = 0; i < count; ++i) {
      IUnknown** p = reinterpret_cast<IUnknown**>(data) + i;
      if (*p) (*p)->Release();
      *p = nullptr;
    }
  } else if (psa->fFeatures & FADF_VARIANT) {
    for (uint64_t i = 0; i < count; ++i) {
      VariantClear(reinterpret_cast<VARIANT*>(data) + i);
    }
  }
}

// Deep copy of `count` elements into zeroed `dst`.
HRESULT CopyCells(const SAFEARRAY* psa, const unsigned char* src, unsigned char* dst,
                  uint64_t count) {
  if (psa->fFeatures & FADF_BSTR) {
    for (uint64_t i = 0; i < count; ++i) {
      BSTR s = reinterpret_cast<const BSTR*>(src)[i];
      BSTR& d = reinterpret_cast<BSTR*>(dst)[i];
      d = nullptr;
      if (s) {
        d = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(s), SysStringByteLen(s));
        if (!d) return E_OUTOFMEMORY;
      }
    }
  } else if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
    for (uint64_t i = 0; i < count; ++i) {
      IUnknown* p = reinterpret_cast<IUnknown* const*>(src)[i];
      reinterpret_cast<IUnknown**>(dst)[i] = p;
      if (p) p->AddRef();
    }
  } else if (psa->fFeatures & FADF_VARIANT) {
    for (uint64_t i = 0; i < count; ++i) {
      VARIANT* d = reinterpret_cast<VARIANT*>(dst) + i;
      VariantInit(d);
      HRESULT hr = VariantCopy(d, reinterpret_cast<const VARIANT*>(src) + i);
      if (FAILED(hr)) return hr;
    }
  } else if (count) {
    std::memcpy(dst, src, static_cast<size_t>(count) * psa->cbElements);
  }
  return S_OK;
}

HRESULT AllocDescriptor(UINT cDims, SAFEARRAY** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (cDims == 0 || cDims > 0xFFFF) return E_INVALIDARG;
  size_t bytes = kPrefix + sizeof(SAFEARRAY) + (cDims - 1) * sizeof(SAFEARRAYBOUND);
  auto* raw = static_cast<unsigned char*>(std::calloc(1, bytes));
  if (!raw) return E_OUTOFMEMORY;
  auto* psa = reinterpret_cast<SAFEARRAY*>(raw + kPrefix);
  psa->cDims = static_cast<USHORT>(cDims);
  *out = psa;
  return S_OK;
}

}  // namespace

HRESULT SafeArrayAllocDescriptor(UINT cDims, SAFEARRAY** ppsaOut) {
  return AllocDescriptor(cDims, ppsaOut);
}

HRESULT SafeArrayAllocDescriptorEx(VARTYPE vt, UINT cDims, SAFEARRAY** ppsaOut) {
  ULONG size = ElementSize(vt);
  if (size == 0) {
    if (ppsaOut) *ppsaOut = nullptr;
    return E_INVALIDARG;
  }
  HRESULT hr = AllocDescriptor(cDims, ppsaOut);
  if (FAILED(hr)) return hr;
  SAFEARRAY* psa = *ppsaOut;
  psa->cbElements = size;
  psa->fFeatures = FADF_HAVEVARTYPE | FeaturesFor(vt);
  StoreVartype(psa, vt);
  return S_OK;
}

HRESULT SafeArrayAllocData(SAFEARRAY* psa) {
  if (!psa) return E_INVALIDARG;
  size_t bytes;
  if (!ByteCount(psa, &bytes)) return E_OUTOFMEMORY;
  void* data = mlr::posix::PoolTake(bytes);
  if (data) {
    std::memset(data, 0, bytes);
  } else {
    data = std::calloc(1, bytes ? bytes : 1);
  }
  if (!data) return E_OUTOFMEMORY;
  psa->pvData = data;
  return S_OK;
}

SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound) {
  if (!rgsabound || cDims == 0) return nullptr;
  SAFEARRAY* psa = nullptr;
  if (FAILED(SafeArrayAllocDescriptorEx(vt, cDims, &psa))) return nullptr;
  for (UINT i = 0; i < cDims; ++i) psa->rgsabound[i] = rgsabound[cDims - 1 - i];
  if (FAILED(SafeArrayAllocData(psa))) {
    SafeArrayDestroyDescriptor(psa);
    return nullptr;
  }
  return psa;
}

namespace mlr {

SAFEARRAY* SafeArrayCreateUninitialized(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound) {
  if (!rgsabound || cDims == 0) return nullptr;
  if (vt == VT_BSTR || vt == VT_UNKNOWN || vt == VT_DISPATCH || vt == VT_VARIANT) return nullptr;
  SAFEARRAY* psa = nullptr;
  if (FAILED(SafeArrayAllocDescriptorEx(vt, cDims, &psa))) return nullptr;
  for (UINT i = 0; i < cDims; ++i) psa->rgsabound[i] = rgsabound[cDims - 1 - i];
  size_t bytes;
  void* data = nullptr;
  if (ByteCount(psa, &bytes)) {
    data = mlr::posix::PoolTake(bytes);
    if (!data) data = std::malloc(bytes ? bytes : 1);
  }
  if (!data) {
    SafeArrayDestroyDescriptor(psa);
    return nullptr;
  }
  psa->pvData = data;
  return psa;
}

}  // namespace mlr

SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements) {
  SAFEARRAYBOUND bound = {cElements, lLbound};
  return SafeArrayCreate(vt, 1, &bound);
}

HRESULT SafeArrayDestroyData(SAFEARRAY* psa) {
  if (!psa) return E_INVALIDARG;
  if (psa->cLocks) return DISP_E_ARRAYISLOCKED;
  if (!psa->pvData) return S_OK;
  uint64_t cells;
  if (CellCount(psa, &cells)) ClearCells(psa, static_cast<unsigned char*>(psa->pvData), cells);
  if (!(psa->fFeatures & (FADF_STATIC | FADF_EMBEDDED | FADF_AUTO))) {
    size_t bytes = 0;
    if (!ByteCount(psa, &bytes) || !mlr::posix::PoolKeep(psa->pvData, bytes)) {
      std::free(psa->pvData);
    }
    psa->pvData = nullptr;
  }
  return S_OK;
}

HRESULT SafeArrayDestroyDescriptor(SAFEARRAY* psa) {
  if (!psa) return S_OK;
  if (psa->cLocks) return DISP_E_ARRAYISLOCKED;
  if (!(psa->fFeatures & (FADF_STATIC | FADF_EMBEDDED | FADF_AUTO))) std::free(Block(psa));
  return S_OK;
}

HRESULT SafeArrayDestroy(SAFEARRAY* psa) {
  if (!psa) return S_OK;
  if (psa->cLocks) return DISP_E_ARRAYISLOCKED;
  HRESULT hr = SafeArrayDestroyData(psa);
  if (FAILED(hr)) return hr;
  return SafeArrayDestroyDescriptor(psa);
}

HRESULT SafeArrayLock(SAFEARRAY* psa) {
  if (!psa) return E_INVALIDARG;
  ULONG before = __atomic_fetch_add(&psa->cLocks, 1, __ATOMIC_ACQ_REL);
  if (before >= 0xFFFF) {
    __atomic_fetch_sub(&psa->cLocks, 1, __ATOMIC_ACQ_REL);
    return E_UNEXPECTED;
  }
  return S_OK;
}

HRESULT SafeArrayUnlock(SAFEARRAY* psa) {
  if (!psa) return E_INVALIDARG;
  ULONG current = __atomic_load_n(&psa->cLocks, __ATOMIC_ACQUIRE);
  do {
    if (current == 0) return E_UNEXPECTED;
  } while (!__atomic_compare_exchange_n(&psa->cLocks, &current, current - 1, false,
                                        __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE));
  return S_OK;
}

HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** ppvData) {
  if (!psa || !ppvData) return E_INVALIDARG;
  HRESULT hr = SafeArrayLock(psa);
  *ppvData = SUCCEEDED(hr) ? psa->pvData : nullptr;
  return hr;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY* psa) { return SafeArrayUnlock(psa); }

HRESULT SafeArrayPtrOfIndex(SAFEARRAY* psa, LONG* rgIndices, void** ppvData) {
  if (!psa || !rgIndices || !ppvData) return E_INVALIDARG;
  *ppvData = nullptr;
  uint64_t cell;
  if (!CellIndex(psa, rgIndices, &cell)) return DISP_E_BADINDEX;
  if (!psa->pvData) return E_UNEXPECTED;
  *ppvData = static_cast<unsigned char*>(psa->pvData) + cell * psa->cbElements;
  return S_OK;
}

HRESULT SafeArrayGetElement(SAFEARRAY* psa, LONG* rgIndices, void* pv) {
  if (!psa || !rgIndices || !pv) return E_INVALIDARG;
  void* cell;
  HRESULT hr = SafeArrayPtrOfIndex(psa, rgIndices, &cell);
  if (FAILED(hr)) return hr;
  hr = SafeArrayLock(psa);
  if (FAILED(hr)) return hr;
  if (psa->fFeatures & FADF_VARIANT) VariantInit(static_cast<VARIANT*>(pv));
  hr = CopyCells(psa, static_cast<unsigned char*>(cell), static_cast<unsigned char*>(pv), 1);
  SafeArrayUnlock(psa);
  return hr;
}

// pv is the value itself for BSTR and interface arrays, a pointer to it for
// all others (VARIANT arrays: a VARIANT*), as on Windows.
HRESULT SafeArrayPutElement(SAFEARRAY* psa, LONG* rgIndices, void* pv) {
  if (!psa || !rgIndices) return E_INVALIDARG;
  void* cell;
  HRESULT hr = SafeArrayPtrOfIndex(psa, rgIndices, &cell);
  if (FAILED(hr)) return hr;
  hr = SafeArrayLock(psa);
  if (FAILED(hr)) return hr;
  if (psa->fFeatures & FADF_BSTR) {
    BSTR src = static_cast<BSTR>(pv);
    BSTR copy = nullptr;
    if (src) {
      copy = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(src), SysStringByteLen(src));
      if (!copy) hr = E_OUTOFMEMORY;
    }
    if (SUCCEEDED(hr)) {
      SysFreeString(*static_cast<BSTR*>(cell));
      *static_cast<BSTR*>(cell) = copy;
    }
  } else if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
    IUnknown* p = static_cast<IUnknown*>(pv);
    if (p) p->AddRef();
    IUnknown* old = *static_cast<IUnknown**>(cell);
    *static_cast<IUnknown**>(cell) = p;
    if (old) old->Release();
  } else if (psa->fFeatures & FADF_VARIANT) {
    if (!pv) {
      hr = E_INVALIDARG;
    } else {
      hr = VariantCopy(static_cast<VARIANT*>(cell), static_cast<VARIANT*>(pv));
    }
  } else {
    if (!pv) {
      hr = E_INVALIDARG;
    } else {
      std::memcpy(cell, pv, psa->cbElements);
    }
  }
  SafeArrayUnlock(psa);
  return hr;
}

HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT nDim, LONG* plLbound) {
  if (!psa || !plLbound) return E_INVALIDARG;
  if (nDim == 0 || nDim > psa->cDims) return DISP_E_BADINDEX;
  *plLbound = psa->rgsabound[psa->cDims - nDim].lLbound;
  return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT nDim, LONG* plUbound) {
  if (!psa || !plUbound) return E_INVALIDARG;
  if (nDim == 0 || nDim > psa->cDims) return DISP_E_BADINDEX;
  const SAFEARRAYBOUND& b = psa->rgsabound[psa->cDims - nDim];
  // Computed in 64 bits; an upper bound beyond LONG wraps as on Windows.
  *plUbound = static_cast<LONG>(static_cast<uint32_t>(int64_t{b.lLbound} + b.cElements - 1));
  return S_OK;
}

UINT SafeArrayGetDim(SAFEARRAY* psa) { return psa ? psa->cDims : 0; }

UINT SafeArrayGetElemsize(SAFEARRAY* psa) { return psa ? psa->cbElements : 0; }

HRESULT SafeArrayGetVartype(SAFEARRAY* psa, VARTYPE* pvt) {
  if (!psa || !pvt) return E_INVALIDARG;
  if (psa->fFeatures & FADF_RECORD) {
    *pvt = VT_RECORD;
  } else if (psa->fFeatures & FADF_HAVEVARTYPE) {
    DWORD v;
    std::memcpy(&v, Block(psa) + kPrefix - sizeof(DWORD), sizeof v);
    *pvt = static_cast<VARTYPE>(v);
  } else if (psa->fFeatures & FADF_HAVEIID) {
    *pvt = VT_UNKNOWN;
  } else if (psa->fFeatures & FADF_BSTR) {
    *pvt = VT_BSTR;
  } else if (psa->fFeatures & FADF_UNKNOWN) {
    *pvt = VT_UNKNOWN;
  } else if (psa->fFeatures & FADF_DISPATCH) {
    *pvt = VT_DISPATCH;
  } else if (psa->fFeatures & FADF_VARIANT) {
    *pvt = VT_VARIANT;
  } else {
    return E_INVALIDARG;
  }
  return S_OK;
}

// Changes the rightmost dimension (rgsabound[0], the slowest varying):
// shrinking frees the elements dropped and keeps the rest, growing appends
// zeroed elements.
HRESULT SafeArrayRedim(SAFEARRAY* psa, SAFEARRAYBOUND* psaboundNew) {
  if (!psa || !psaboundNew) return E_INVALIDARG;
  if (psa->cLocks) return DISP_E_ARRAYISLOCKED;
  if (psa->fFeatures & FADF_FIXEDSIZE) return DISP_E_ARRAYISLOCKED;
  uint64_t old_cells;
  if (!CellCount(psa, &old_cells)) return E_UNEXPECTED;
  // Elements per step of the rightmost dimension.
  uint64_t block = 1;
  for (USHORT i = 1; i < psa->cDims; ++i) block *= psa->rgsabound[i].cElements;
  uint64_t new_cells;
  if (__builtin_mul_overflow(block, uint64_t{psaboundNew->cElements}, &new_cells)) {
    return E_OUTOFMEMORY;
  }
  uint64_t new_bytes;
  if (__builtin_mul_overflow(new_cells, uint64_t{psa->cbElements}, &new_bytes) ||
      new_bytes > kMaxDataBytes) {
    return E_OUTOFMEMORY;
  }
  if (psa->fFeatures & (FADF_STATIC | FADF_EMBEDDED | FADF_AUTO)) {
    if (new_cells > old_cells) return E_INVALIDARG;  // not our memory to grow
  }
  auto* data = static_cast<unsigned char*>(psa->pvData);
  if (new_cells < old_cells && data) {
    ClearCells(psa, data + new_cells * psa->cbElements, old_cells - new_cells);
  }
  if (!(psa->fFeatures & (FADF_STATIC | FADF_EMBEDDED | FADF_AUTO))) {
    void* grown = std::realloc(data, new_bytes ? static_cast<size_t>(new_bytes) : 1);
    if (!grown) {
      if (new_cells < old_cells) {
        // Shrinking cannot fail in practice; if it does, keep the old block
        // with its (already cleared) tail.
        grown = data;
      } else {
        return E_OUTOFMEMORY;
      }
    }
    data = static_cast<unsigned char*>(grown);
    if (new_cells > old_cells) {
      std::memset(data + old_cells * psa->cbElements, 0,
                  static_cast<size_t>((new_cells - old_cells) * psa->cbElements));
    }
    psa->pvData = data;
  }
  psa->rgsabound[0] = *psaboundNew;
  return S_OK;
}

HRESULT SafeArrayCopyData(SAFEARRAY* psaSource, SAFEARRAY* psaTarget) {
  if (!psaSource || !psaTarget) return E_INVALIDARG;
  if (psaSource->cDims != psaTarget->cDims || psaSource->cbElements != psaTarget->cbElements ||
      (psaSource->fFeatures & kTypeFlags) != (psaTarget->fFeatures & kTypeFlags)) {
    return E_INVALIDARG;
  }
  for (USHORT i = 0; i < psaSource->cDims; ++i) {
    if (psaSource->rgsabound[i].cElements != psaTarget->rgsabound[i].cElements) {
      return E_INVALIDARG;
    }
  }
  uint64_t cells;
  if (!CellCount(psaSource, &cells)) return E_UNEXPECTED;
  if (!psaSource->pvData || !psaTarget->pvData) return cells ? E_INVALIDARG : S_OK;
  auto* dst = static_cast<unsigned char*>(psaTarget->pvData);
  ClearCells(psaTarget, dst, cells);
  std::memset(dst, 0, static_cast<size_t>(cells * psaTarget->cbElements));
  return CopyCells(psaSource, static_cast<unsigned char*>(psaSource->pvData), dst, cells);
}

HRESULT SafeArrayCopy(SAFEARRAY* psa, SAFEARRAY** ppsaOut) {
  if (!ppsaOut) return E_INVALIDARG;
  *ppsaOut = nullptr;
  if (!psa) return S_OK;
  if (psa->fFeatures & FADF_RECORD) return E_NOTIMPL;
  SAFEARRAY* copy = nullptr;
  HRESULT hr = AllocDescriptor(psa->cDims, &copy);
  if (FAILED(hr)) return hr;
  copy->fFeatures = psa->fFeatures & kTypeFlags;
  copy->cbElements = psa->cbElements;
  std::memcpy(Block(copy), Block(psa), kPrefix);  // vartype or IID
  for (USHORT i = 0; i < psa->cDims; ++i) copy->rgsabound[i] = psa->rgsabound[i];
  if (psa->pvData) {
    hr = SafeArrayAllocData(copy);
    if (SUCCEEDED(hr)) {
      uint64_t cells = 0;
      CellCount(psa, &cells);
      hr = CopyCells(psa, static_cast<unsigned char*>(psa->pvData),
                     static_cast<unsigned char*>(copy->pvData), cells);
    }
    if (FAILED(hr)) {
      SafeArrayDestroy(copy);
      return hr;
    }
  }
  *ppsaOut = copy;
  return S_OK;
}

#else  // _WIN32

#include "platform/safearray_uninit.h"

namespace mlr {

SAFEARRAY* SafeArrayCreateUninitialized(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound) {
  if (vt == VT_BSTR || vt == VT_UNKNOWN || vt == VT_DISPATCH || vt == VT_VARIANT) return nullptr;
  return SafeArrayCreate(vt, cDims, rgsabound);
}

}  // namespace mlr

#endif  // !_WIN32
