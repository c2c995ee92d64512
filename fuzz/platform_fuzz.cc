// Fuzzes the runtime's parsers and size arithmetic: text converted to every
// scalar VARTYPE (numbers, booleans, dates), and SAFEARRAY creation, element
// access and Redim with untrusted bounds and indices.
//
// Input: byte 0 selects the target type, byte 1 the flags; the rest is UTF-8
// text. The same bytes, read as little-endian 32-bit values, also give the
// bounds and indices of a small array exercise.
#include "platform/strings.h"
#include "platform/win.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

const VARTYPE kTargets[] = {VT_I1, VT_UI1, VT_I2, VT_UI2, VT_I4,  VT_UI4,  VT_I8,  VT_UI8,
                            VT_R4, VT_R8,  VT_CY, VT_DATE, VT_BOOL, VT_BSTR, VT_INT, VT_UINT};

uint32_t Word(const uint8_t* data, size_t size, size_t index) {
  uint32_t v = 0;
  for (size_t k = 0; k < 4; ++k) {
    size_t at = index * 4 + k;
    if (at < size) v |= uint32_t{data[at]} << (8 * k);
  }
  return v;
}

void ArrayExercise(const uint8_t* data, size_t size) {
  UINT dims = 1 + Word(data, size, 0) % 3;
  SAFEARRAYBOUND bounds[3];
  for (UINT d = 0; d < dims; ++d) {
    bounds[d].cElements = Word(data, size, 1 + 2 * d) % 64;
    bounds[d].lLbound = static_cast<LONG>(Word(data, size, 2 + 2 * d));
  }
  VARTYPE vt = (Word(data, size, 7) & 1) ? VT_BSTR : VT_VARIANT;
  SAFEARRAY* psa = SafeArrayCreate(vt, dims, bounds);
  if (!psa) return;
  LONG index[3];
  for (UINT d = 0; d < dims; ++d) index[d] = static_cast<LONG>(Word(data, size, 8 + d));
  if (vt == VT_BSTR) {
    BSTR s = SysAllocString(OLESTR("x"));
    SafeArrayPutElement(psa, index, s);
    SysFreeString(s);
  } else {
    VARIANT v;
    v.vt = VT_I4;
    v.lVal = 1;
    SafeArrayPutElement(psa, index, &v);
  }
  SAFEARRAYBOUND redim = {Word(data, size, 11) % 128, static_cast<LONG>(Word(data, size, 12))};
  SafeArrayRedim(psa, &redim);
  SAFEARRAY* copy = nullptr;
  if (SUCCEEDED(SafeArrayCopy(psa, &copy))) SafeArrayDestroy(copy);
  SafeArrayDestroy(psa);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  VARTYPE target = kTargets[data[0] % (sizeof kTargets / sizeof kTargets[0])];
  USHORT flags = data[1] & (VARIANT_ALPHABOOL | VARIANT_NOVALUEPROP);
  std::u16string text = mlr::ToUtf16(reinterpret_cast<const char*>(data + 2), size - 2);
  VARIANT src, dst, back;
  src.vt = VT_BSTR;
  src.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  VariantInit(&dst);
  VariantInit(&back);
  if (SUCCEEDED(VariantChangeType(&dst, &src, flags, target))) {
    // Whatever parsed must format again.
    if (FAILED(VariantChangeType(&back, &dst, flags, VT_BSTR)) && target != VT_DATE) {
      __builtin_trap();
    }
  }
  VariantClear(&back);
  VariantClear(&dst);
  VariantClear(&src);
  ArrayExercise(data, size);
  return 0;
}
