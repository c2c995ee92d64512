// BSTR allocation and VARIANT ownership and conversion, checked against the
// documented Windows behaviour.
#include "platform/strings.h"
#include "platform/win.h"
#include "tests/platform/test_objects.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

TEST(Bstr, ReAllocFromItsOwnCharacters) {
  BSTR s = SysAllocString(OLESTR("hello world"));
  DWORD prefix;  // the byte length, before the characters
  std::memcpy(&prefix, reinterpret_cast<char*>(s) - 4, 4);
  EXPECT_EQ(prefix, 22u);
  ASSERT_TRUE(SysReAllocString(&s, s + 6));
  EXPECT_EQ(std::u16string(s), u"world");
  ASSERT_TRUE(SysReAllocStringLen(&s, s, 2));
  EXPECT_EQ(std::u16string(s), u"wo");
  EXPECT_FALSE(SysReAllocString(nullptr, OLESTR("x")));
  SysFreeString(s);
  EXPECT_EQ(SysAllocStringLen(nullptr, 0x80000000u), nullptr);  // byte length overflows
}

struct Conversion {
  const char* name;
  VARIANT (*make)();
  VARTYPE to;
  HRESULT expect;
  double value;  // numeric result (VT_BOOL: -1/0)
};

// Leaves a string conversion case as a seed for the platform fuzzer: byte 0
// the target type's index, byte 1 the flags, then the text.
void WriteSeed(const char* name, const VARIANT& src, VARTYPE to) {
  const char* dir = std::getenv("MLR_CORPUS_DIR");
  if (!dir || src.vt != VT_BSTR) return;
  static const VARTYPE kTargets[] = {VT_I1, VT_UI1, VT_I2, VT_UI2, VT_I4,  VT_UI4,  VT_I8,  VT_UI8,
                                     VT_R4, VT_R8,  VT_CY, VT_DATE, VT_BOOL, VT_BSTR, VT_INT, VT_UINT};
  unsigned char index = 0;
  while (index < 16 && kTargets[index] != to) ++index;
  std::string path = std::string(dir) + "/platform";
  std::string mkdir = "mkdir -p '" + path + "'";
  if (std::system(mkdir.c_str()) != 0) return;
  std::string file = path + "/";
  for (const char* c = name; *c; ++c) file += (*c == ' ' ? '_' : *c);
  if (FILE* f = std::fopen(file.c_str(), "wb")) {
    std::string text = mlr::ToUtf8(src.bstrVal);
    std::fputc(index, f);
    std::fputc(0, f);
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
  }
}

double Numeric(const VARIANT& v) {
  switch (v.vt) {
    case VT_I1: return v.cVal;
    case VT_UI1: return v.bVal;
    case VT_I2: return v.iVal;
    case VT_UI2: return v.uiVal;
    case VT_I4: return v.lVal;
    case VT_UI4: return v.ulVal;
    case VT_I8: return static_cast<double>(v.llVal);
    case VT_UI8: return static_cast<double>(v.ullVal);
    case VT_R4: return v.fltVal;
    case VT_R8: return v.dblVal;
    case VT_DATE: return v.date;
    case VT_BOOL: return v.boolVal;
    case VT_CY: return static_cast<double>(v.cyVal.int64) / 10000.0;
    default: return NAN;
  }
}

TEST(VariantChangeType, NumericTable) {
  const Conversion cases[] = {
      {"I4 to I2", [] { return I4(32767); }, VT_I2, S_OK, 32767},
      {"I4 to I2 overflow", [] { return I4(32768); }, VT_I2, DISP_E_OVERFLOW, 0},
      {"I4 to UI1 negative", [] { return I4(-1); }, VT_UI1, DISP_E_OVERFLOW, 0},
      {"I4 to UI4", [] { return I4(5); }, VT_UI4, S_OK, 5},
      {"R8 rounds half to even (2.5)", [] { return R8(2.5); }, VT_I4, S_OK, 2},
      {"R8 rounds half to even (3.5)", [] { return R8(3.5); }, VT_I4, S_OK, 4},
      {"R8 rounds half to even (-2.5)", [] { return R8(-2.5); }, VT_I4, S_OK, -2},
      {"R8 rounds 2.6", [] { return R8(2.6); }, VT_I2, S_OK, 3},
      {"R8 to I4 overflow", [] { return R8(2147483647.6); }, VT_I4, DISP_E_OVERFLOW, 0},
      {"R8 to I4 max", [] { return R8(2147483647.4); }, VT_I4, S_OK, 2147483647},
      {"R8 NaN to I4", [] { return R8(NAN); }, VT_I4, DISP_E_OVERFLOW, 0},
      {"R8 to R4 overflow", [] { return R8(1e300); }, VT_R4, DISP_E_OVERFLOW, 0},
      {"R8 to BOOL", [] { return R8(0.1); }, VT_BOOL, S_OK, -1},
      {"BOOL to I4", [] { return Bool(true); }, VT_I4, S_OK, -1},
      {"BOOL to UI1", [] { return Bool(true); }, VT_UI1, S_OK, 255},
      {"I4 to DATE", [] { return I4(2); }, VT_DATE, S_OK, 2},
      {"R8 to DATE out of range", [] { return R8(3e6); }, VT_DATE, DISP_E_OVERFLOW, 0},
      {"R8 to CY", [] { return R8(1.23456); }, VT_CY, S_OK, 1.2346},
      {"EMPTY to I4", [] { return MakeVariant(VT_EMPTY); }, VT_I4, S_OK, 0},
      {"NULL to I4", [] { return MakeVariant(VT_NULL); }, VT_I4, DISP_E_TYPEMISMATCH, 0},
      {"string to I4", [] { return Str(u"  -42 "); }, VT_I4, S_OK, -42},
      {"string to R8", [] { return Str(u"1.5e3"); }, VT_R8, S_OK, 1500},
      {"string rounds", [] { return Str(u"2.5"); }, VT_I4, S_OK, 2},
      {"string hex", [] { return Str(u"&H1F"); }, VT_I4, S_OK, 31},
      {"string hex short is signed", [] { return Str(u"&HFFFF"); }, VT_I4, S_OK, -1},
      {"string overflow", [] { return Str(u"40000"); }, VT_I2, DISP_E_OVERFLOW, 0},
      {"string garbage", [] { return Str(u"12abc"); }, VT_I4, DISP_E_TYPEMISMATCH, 0},
      {"empty string", [] { return Str(u""); }, VT_R8, DISP_E_TYPEMISMATCH, 0},
      {"string True", [] { return Str(u"True"); }, VT_BOOL, S_OK, -1},
      {"string false", [] { return Str(u"false"); }, VT_BOOL, S_OK, 0},
      {"string 0 to BOOL", [] { return Str(u"0"); }, VT_BOOL, S_OK, 0},
      {"string date", [] { return Str(u"1900-01-01"); }, VT_DATE, S_OK, 2},
      {"string date and time", [] { return Str(u"1899-12-30 12:00:00"); }, VT_DATE, S_OK, 0.5},
      {"string US date", [] { return Str(u"1/2/1900 6:00 PM"); }, VT_DATE, S_OK, 3.75},
      {"string bad date", [] { return Str(u"1900-02-30"); }, VT_DATE, DISP_E_TYPEMISMATCH, 0},
  };
  for (const Conversion& c : cases) {
    SCOPED_TRACE(c.name);
    VARIANT src = c.make();
    WriteSeed(c.name, src, c.to);
    VARIANT dst = MakeVariant(VT_EMPTY);
    HRESULT hr = VariantChangeType(&dst, &src, 0, c.to);
    EXPECT_EQ(hr, c.expect);
    if (SUCCEEDED(hr)) {
      EXPECT_EQ(dst.vt, c.to);
      EXPECT_NEAR(Numeric(dst), c.value, 1e-9);
    } else {
      EXPECT_EQ(dst.vt, VT_EMPTY);  // destination untouched on failure
    }
    VariantClear(&dst);
    VariantClear(&src);
  }
}

TEST(VariantChangeType, LargeIntegersStayExact) {
  VARIANT src = Str(u"9007199254740993");
  VARIANT dst = MakeVariant(VT_EMPTY);
  ASSERT_EQ(VariantChangeType(&dst, &src, 0, VT_I8), S_OK);
  EXPECT_EQ(dst.llVal, 9007199254740993LL);
  VariantClear(&src);
  src = Str(u"18446744073709551615");
  ASSERT_EQ(VariantChangeType(&dst, &src, 0, VT_UI8), S_OK);
  EXPECT_EQ(dst.ullVal, 18446744073709551615ULL);
  EXPECT_EQ(VariantChangeType(&dst, &src, 0, VT_I8), DISP_E_OVERFLOW);
  VariantClear(&src);
}

TEST(VariantChangeType, ToStringTable) {
  struct Case {
    const char* name;
    VARIANT (*make)();
    USHORT flags;
    const char16_t* expect;
  } cases[] = {
      {"I4", [] { return I4(-17); }, 0, u"-17"},
      {"R8 short", [] { return R8(0.1); }, 0, u"0.1"},
      {"R8 15 digits", [] { return R8(1.0 / 3.0); }, 0, u"0.333333333333333"},
      {"R8 exponent", [] { return R8(1e20); }, 0, u"1E+20"},
      {"BOOL numeric", [] { return Bool(true); }, 0, u"-1"},
      {"BOOL alpha", [] { return Bool(false); }, VARIANT_ALPHABOOL, u"False"},
      {"DATE", [] { return Date(2.75); }, 0, u"1900-01-01 18:00:00"},
      {"DATE day only", [] { return Date(36526); }, 0, u"2000-01-01"},
      {"EMPTY", [] { return MakeVariant(VT_EMPTY); }, 0, u""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    VARIANT src = c.make();
    VARIANT dst = MakeVariant(VT_EMPTY);
    ASSERT_EQ(VariantChangeType(&dst, &src, c.flags, VT_BSTR), S_OK);
    EXPECT_EQ(TextOf(dst.bstrVal), c.expect);
    VariantClear(&dst);
    VariantClear(&src);
  }
}

TEST(VariantChangeType, ByRefInPlaceAndObjects) {
  // By-reference source is dereferenced; in-place conversion works.
  SHORT value = 12;
  VARIANT r = MakeVariant(VT_BYREF | VT_I2);
  r.piVal = &value;
  VARIANT out = MakeVariant(VT_EMPTY);
  ASSERT_EQ(VariantChangeType(&out, &r, 0, VT_R8), S_OK);
  EXPECT_EQ(out.dblVal, 12.0);
  ASSERT_EQ(VariantChangeType(&out, &out, 0, VT_BSTR), S_OK);
  EXPECT_EQ(TextOf(out.bstrVal), u"12");
  VariantClear(&out);

  // An object converts through its DISPID_VALUE property.
  CountedObject object;
  VARIANT d = Object(VT_DISPATCH, &object);
  ASSERT_EQ(VariantChangeType(&out, &d, 0, VT_I2), S_OK);
  EXPECT_EQ(out.iVal, 42);
  EXPECT_EQ(VariantChangeType(&out, &d, VARIANT_NOVALUEPROP, VT_I2), DISP_E_TYPEMISMATCH);
  ASSERT_EQ(VariantChangeType(&out, &d, 0, VT_UNKNOWN), S_OK);
  EXPECT_EQ(object.Count(), 2u);
  VariantClear(&out);
  EXPECT_EQ(object.Count(), 1u);
  EXPECT_EQ(VariantChangeType(&out, &d, 0, VT_BYREF | VT_I4), DISP_E_BADVARTYPE);
  VARIANT bad = MakeVariant(0x7F);
  EXPECT_EQ(VariantClear(&bad), DISP_E_BADVARTYPE);
}

// An object that is IUnknown only.
class PlainUnknown : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    *ppv = riid == IID_IUnknown ? this : nullptr;
    if (*ppv) AddRef();
    return *ppv ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs; }
  ULONG refs = 1;
};

TEST(VariantChangeType, ObjectsArraysCurrencyAndNegativeDates) {
  PlainUnknown unk;
  VARIANT u = Object(VT_UNKNOWN, &unk);
  VARIANT out = MakeVariant(VT_EMPTY);
  EXPECT_EQ(VariantChangeType(&out, &u, 0, VT_DISPATCH), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(VariantChangeType(&out, &u, 0, VT_I4), DISP_E_TYPEMISMATCH);  // no value property
  EXPECT_EQ(unk.refs, 1u);
  VARIANT empty = MakeVariant(VT_EMPTY);
  ASSERT_EQ(VariantChangeType(&out, &empty, 0, VT_DISPATCH), S_OK);
  EXPECT_EQ(out.pdispVal, nullptr);

  // Arrays convert to their own type only (a deep copy).
  VARIANT arr = Array(VT_I4, SafeArrayCreateVector(VT_I4, 0, 2));
  ASSERT_EQ(VariantChangeType(&out, &arr, 0, VT_ARRAY | VT_I4), S_OK);
  EXPECT_NE(out.parray, arr.parray);
  EXPECT_EQ(VariantChangeType(&out, &arr, 0, VT_ARRAY | VT_R8), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(VariantChangeType(&out, &arr, 0, VT_I4), DISP_E_TYPEMISMATCH);
  VariantClear(&out);
  VariantClear(&arr);

  // Currency keeps four decimals and rounds half to even when it leaves.
  VARIANT cy = MakeVariant(VT_CY);
  cy.cyVal.int64 = 25000;  // 2.5
  ASSERT_EQ(VariantChangeType(&out, &cy, 0, VT_I4), S_OK);
  EXPECT_EQ(out.lVal, 2);
  ASSERT_EQ(VariantChangeType(&out, &cy, 0, VT_BSTR), S_OK);
  EXPECT_EQ(TextOf(out.bstrVal), u"2.5");
  VariantClear(&out);

  // Before 1899-12-30 the time of day counts away from zero.
  VARIANT d = Date(-1.25);
  ASSERT_EQ(VariantChangeType(&out, &d, 0, VT_BSTR), S_OK);
  EXPECT_EQ(TextOf(out.bstrVal), u"1899-12-29 06:00:00");
  VARIANT back = MakeVariant(VT_EMPTY);
  ASSERT_EQ(VariantChangeType(&back, &out, 0, VT_DATE), S_OK);
  EXPECT_DOUBLE_EQ(back.date, -1.25);
  VariantClear(&out);
}

}  // namespace
