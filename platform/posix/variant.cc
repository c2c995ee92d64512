// VARIANT: init, clear, deep copy, dereferencing copy and type conversion.
// The conversion rules are documented with the declarations in
// platform/oleauto.h.
#if !defined(_WIN32)

#include "platform/strings.h"
#include "platform/win.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

namespace {

bool IsValidScalar(VARTYPE base) {
  switch (base) {
    case VT_I2: case VT_I4: case VT_R4: case VT_R8: case VT_CY: case VT_DATE: case VT_BSTR:
    case VT_DISPATCH: case VT_ERROR: case VT_BOOL: case VT_UNKNOWN: case VT_DECIMAL:
    case VT_I1: case VT_UI1: case VT_UI2: case VT_UI4: case VT_I8: case VT_UI8: case VT_INT:
    case VT_UINT: case VT_RECORD:
      return true;
    default:
      return false;
  }
}

// Whether vt may appear in a VARIANT.
bool IsValidVariantType(VARTYPE vt) {
  if (vt & (VT_VECTOR | VT_RESERVED)) return false;
  VARTYPE base = vt & VT_TYPEMASK;
  if (vt & (VT_BYREF | VT_ARRAY)) {
    return IsValidScalar(base) || base == VT_VARIANT;
  }
  return base == VT_EMPTY || base == VT_NULL || IsValidScalar(base);
}

size_t ScalarSize(VARTYPE base) {
  switch (base) {
    case VT_I1: case VT_UI1: return 1;
    case VT_I2: case VT_UI2: case VT_BOOL: return 2;
    case VT_I4: case VT_UI4: case VT_INT: case VT_UINT: case VT_R4: case VT_ERROR: return 4;
    case VT_I8: case VT_UI8: case VT_R8: case VT_DATE: case VT_CY: return 8;
    case VT_BSTR: case VT_DISPATCH: case VT_UNKNOWN: return sizeof(void*);
    case VT_DECIMAL: return sizeof(DECIMAL);
    default: return 0;
  }
}

// A shallow view of *src with one level of VT_BYREF removed. The view does
// not own anything.
HRESULT Deref(const VARIANT* src, VARIANT* view) {
  *view = *src;
  if (!(src->vt & VT_BYREF)) return S_OK;
  VARTYPE vt = src->vt & ~VT_BYREF;
  if (!src->byref) return E_INVALIDARG;
  if (vt == VT_VARIANT) {
    const VARIANT* inner = src->pvarVal;
    if (inner->vt & VT_BYREF && (inner->vt & VT_TYPEMASK) == VT_VARIANT) return E_INVALIDARG;
    *view = *inner;
    return S_OK;
  }
  view->vt = vt;
  if (vt & VT_ARRAY) {
    view->parray = *src->pparray;
  } else if (vt == VT_DECIMAL) {
    DECIMAL d = *src->pdecVal;
    view->decVal = d;
    view->vt = vt;
  } else {
    size_t size = ScalarSize(vt);
    if (!size) return DISP_E_BADVARTYPE;
    view->llVal = 0;
    std::memcpy(&view->llVal, src->byref, size);
  }
  return S_OK;
}

// ---- the value model used between source and destination ----------------

enum class K { kEmpty, kNull, kInt, kUInt, kReal, kBool, kStr, kDate, kCy, kError };

struct Value {
  K kind = K::kEmpty;
  int64_t i = 0;
  uint64_t u = 0;
  double d = 0;
  const OLECHAR* s = nullptr;
  UINT slen = 0;
};

constexpr double kMinDate = -657434.0;                     // 0100-01-01
constexpr double kMaxDate = 2958465.99999999;              // 9999-12-31 23:59:59

// Round half to even.
double RoundEven(double v) {
  double r = std::round(v);
  if (std::fabs(v - std::trunc(v)) == 0.5) r = 2.0 * std::round(v / 2.0);
  return r;
}

bool IsBlank(OLECHAR c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }

// Parses a number. Integers without fraction or exponent are kept exact.
HRESULT ParseNumber(const OLECHAR* s, UINT n, Value* out) {
  UINT b = 0, e = n;
  while (b < e && IsBlank(s[b])) ++b;
  while (e > b && IsBlank(s[e - 1])) --e;
  if (b == e) return DISP_E_TYPEMISMATCH;
  std::string a;
  for (UINT k = b; k < e; ++k) {
    if (s[k] > 0x7F) return DISP_E_TYPEMISMATCH;
    a.push_back(static_cast<char>(s[k]));
  }
  if (a.size() > 2 && a[0] == '&' && (a[1] == 'H' || a[1] == 'h' || a[1] == 'O' || a[1] == 'o')) {
    int base = (a[1] == 'H' || a[1] == 'h') ? 16 : 8;
    uint64_t v = 0;
    auto r = std::from_chars(a.data() + 2, a.data() + a.size(), v, base);
    if (r.ec == std::errc::result_out_of_range) return DISP_E_OVERFLOW;
    if (r.ec != std::errc() || r.ptr != a.data() + a.size()) return DISP_E_TYPEMISMATCH;
    // As in the automation languages, up to 16 bits is a SHORT and up to 32
    // bits a LONG, both two's complement ("&HFFFF" is -1).
    if (v <= 0xFFFF) {
      out->kind = K::kInt;
      out->i = static_cast<int16_t>(static_cast<uint16_t>(v));
    } else if (v <= 0xFFFFFFFFu) {
      out->kind = K::kInt;
      out->i = static_cast<int32_t>(static_cast<uint32_t>(v));
    } else {
      out->kind = K::kUInt;
      out->u = v;
    }
    return S_OK;
  }
  // Grammar: [sign] digits [. digits] [(e|E) [sign] digits], at least one digit.
  size_t k = 0;
  bool neg = false;
  if (a[k] == '+' || a[k] == '-') neg = a[k++] == '-';
  size_t int_begin = k;
  while (k < a.size() && a[k] >= '0' && a[k] <= '9') ++k;
  size_t int_digits = k - int_begin;
  size_t frac_digits = 0;
  bool integral = true;
  if (k < a.size() && a[k] == '.') {
    integral = false;
    ++k;
    size_t f = k;
    while (k < a.size() && a[k] >= '0' && a[k] <= '9') ++k;
    frac_digits = k - f;
  }
  if (int_digits + frac_digits == 0) return DISP_E_TYPEMISMATCH;
  if (k < a.size() && (a[k] == 'e' || a[k] == 'E')) {
    integral = false;
    ++k;
    if (k < a.size() && (a[k] == '+' || a[k] == '-')) ++k;
    size_t x = k;
    while (k < a.size() && a[k] >= '0' && a[k] <= '9') ++k;
    if (k == x) return DISP_E_TYPEMISMATCH;
  }
  if (k != a.size()) return DISP_E_TYPEMISMATCH;
  if (integral) {
    uint64_t mag = 0;
    auto r = std::from_chars(a.data() + int_begin, a.data() + a.size(), mag);
    if (r.ec == std::errc()) {
      if (!neg) {
        out->kind = K::kUInt;
        out->u = mag;
        return S_OK;
      }
      if (mag <= uint64_t{1} << 63) {
        out->kind = K::kInt;
        out->i = mag == (uint64_t{1} << 63) ? std::numeric_limits<int64_t>::min()
                                            : -static_cast<int64_t>(mag);
        return S_OK;
      }
    }
  }
  const char* first = a.data() + (a[0] == '+' ? 1 : 0);
  double d = 0;
  auto r = std::from_chars(first, a.data() + a.size(), d);
  if (r.ec == std::errc::result_out_of_range) return DISP_E_OVERFLOW;
  if (r.ec != std::errc() || r.ptr != a.data() + a.size()) return DISP_E_TYPEMISMATCH;
  out->kind = K::kReal;
  out->d = d;
  return S_OK;
}

bool EqualsNoCase(const OLECHAR* s, UINT n, const char* word) {
  UINT b = 0, e = n;
  while (b < e && IsBlank(s[b])) ++b;
  while (e > b && IsBlank(s[e - 1])) --e;
  size_t len = std::strlen(word);
  if (e - b != len) return false;
  for (size_t k = 0; k < len; ++k) {
    OLECHAR c = s[b + k];
    if (c >= u'A' && c <= u'Z') c = static_cast<OLECHAR>(c - u'A' + u'a');
    if (c != static_cast<OLECHAR>(word[k])) return false;
  }
  return true;
}

// ---- dates ------------------------------------------------------------------

int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

constexpr int64_t kDateEpochDays = -25569;  // 1899-12-30 relative to 1970-01-01

bool ValidDay(int y, int m, int d) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (m < 1 || m > 12 || d < 1) return false;
  bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  int max = kDays[m - 1] + (m == 2 && leap ? 1 : 0);
  return d <= max;
}

// Parses the date forms documented above into a DATE.
HRESULT ParseDate(const OLECHAR* s, UINT n, double* out) {
  std::string a;
  for (UINT k = 0; k < n; ++k) {
    if (s[k] > 0x7F) return DISP_E_TYPEMISMATCH;
    a.push_back(static_cast<char>(s[k]));
  }
  size_t p = 0;
  auto skip_blanks = [&] {
    while (p < a.size() && (a[p] == ' ' || a[p] == '\t')) ++p;
  };
  auto number = [&](int* v, size_t max_digits) {
    size_t start = p;
    int r = 0;
    while (p < a.size() && a[p] >= '0' && a[p] <= '9' && p - start < max_digits) {
      r = r * 10 + (a[p] - '0');
      ++p;
    }
    *v = r;
    return p > start;
  };
  skip_blanks();
  bool have_date = false;
  int y = 1899, mo = 12, d = 30;
  size_t save = p;
  int v1, v2, v3;
  if (number(&v1, 4) && p < a.size() && (a[p] == '-' || a[p] == '/')) {
    char sep = a[p++];
    if (!number(&v2, 2) || p >= a.size() || a[p] != sep) return DISP_E_TYPEMISMATCH;
    ++p;
    if (!number(&v3, 4)) return DISP_E_TYPEMISMATCH;
    if (sep == '-') {
      y = v1, mo = v2, d = v3;
    } else {
      mo = v1, d = v2, y = v3;
    }
    if (!ValidDay(y, mo, d)) return DISP_E_TYPEMISMATCH;
    have_date = true;
    if (p < a.size() && (a[p] == 'T' || a[p] == 't')) ++p;
  } else {
    p = save;
  }
  skip_blanks();
  int h = 0, mi = 0, sec = 0;
  bool have_time = false;
  if (p < a.size()) {
    if (!number(&h, 2) || p >= a.size() || a[p] != ':') return DISP_E_TYPEMISMATCH;
    ++p;
    if (!number(&mi, 2)) return DISP_E_TYPEMISMATCH;
    if (p < a.size() && a[p] == ':') {
      ++p;
      if (!number(&sec, 2)) return DISP_E_TYPEMISMATCH;
    }
    skip_blanks();
    if (p + 1 < a.size() + 1 && p < a.size()) {
      std::string ampm = a.substr(p);
      while (!ampm.empty() && (ampm.back() == ' ' || ampm.back() == '\t')) ampm.pop_back();
      for (char& c : ampm) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
      if (ampm == "AM" || ampm == "PM") {
        if (h < 1 || h > 12) return DISP_E_TYPEMISMATCH;
        if (ampm == "AM" && h == 12) h = 0;
        if (ampm == "PM" && h != 12) h += 12;
        p = a.size();
      }
    }
    skip_blanks();
    if (p != a.size()) return DISP_E_TYPEMISMATCH;
    if (h > 23 || mi > 59 || sec > 59) return DISP_E_TYPEMISMATCH;
    have_time = true;
  }
  if (!have_date && !have_time) return DISP_E_TYPEMISMATCH;
  if (y < 100 || y > 9999) return DISP_E_OVERFLOW;
  double days = static_cast<double>(DaysFromCivil(y, mo, d) - kDateEpochDays);
  double frac = (h * 3600.0 + mi * 60.0 + sec) / 86400.0;
  // Before 1899-12-30 the time of day counts away from zero.
  *out = days < 0 ? days - frac : days + frac;
  return S_OK;
}

HRESULT FormatDate(double date, BSTR* out) {
  SYSTEMTIME st;
  if (!VariantTimeToSystemTime(date, &st)) return DISP_E_OVERFLOW;
  char buf[40];
  bool day0 = st.wYear == 1899 && st.wMonth == 12 && st.wDay == 30;
  bool time0 = st.wHour == 0 && st.wMinute == 0 && st.wSecond == 0;
  if (day0 && !time0) {
    std::snprintf(buf, sizeof buf, "%02u:%02u:%02u", st.wHour, st.wMinute, st.wSecond);
  } else if (time0) {
    std::snprintf(buf, sizeof buf, "%04u-%02u-%02u", st.wYear, st.wMonth, st.wDay);
  } else {
    std::snprintf(buf, sizeof buf, "%04u-%02u-%02u %02u:%02u:%02u", st.wYear, st.wMonth,
                  st.wDay, st.wHour, st.wMinute, st.wSecond);
  }
  *out = mlr::AllocBstrUtf8(buf);
  return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT FormatReal(double v, int digits, BSTR* out) {
  char buf[64];
  if (std::isnan(v)) {
    std::snprintf(buf, sizeof buf, "NaN");
  } else if (std::isinf(v)) {
    std::snprintf(buf, sizeof buf, v > 0 ? "Infinity" : "-Infinity");
  } else {
    auto r = std::to_chars(buf, buf + sizeof buf - 1, v, std::chars_format::general, digits);
    *r.ptr = '\0';
    // "1e+20" -> "1E+20"; strip the zero padding of exponents ("1e-05" -> "1E-05" kept).
    for (char* c = buf; *c; ++c) {
      if (*c == 'e') *c = 'E';
    }
  }
  *out = mlr::AllocBstrUtf8(buf);
  return *out ? S_OK : E_OUTOFMEMORY;
}

// ---- source to Value -------------------------------------------------------

HRESULT ValueOf(const VARIANT& v, Value* out) {
  switch (v.vt) {
    case VT_EMPTY: out->kind = K::kEmpty; return S_OK;
    case VT_NULL: out->kind = K::kNull; return S_OK;
    case VT_I1: out->kind = K::kInt; out->i = static_cast<signed char>(v.cVal); return S_OK;
    case VT_I2: out->kind = K::kInt; out->i = v.iVal; return S_OK;
    case VT_I4: out->kind = K::kInt; out->i = v.lVal; return S_OK;
    case VT_INT: out->kind = K::kInt; out->i = v.intVal; return S_OK;
    case VT_I8: out->kind = K::kInt; out->i = v.llVal; return S_OK;
    case VT_UI1: out->kind = K::kUInt; out->u = v.bVal; return S_OK;
    case VT_UI2: out->kind = K::kUInt; out->u = v.uiVal; return S_OK;
    case VT_UI4: out->kind = K::kUInt; out->u = v.ulVal; return S_OK;
    case VT_UINT: out->kind = K::kUInt; out->u = v.uintVal; return S_OK;
    case VT_UI8: out->kind = K::kUInt; out->u = v.ullVal; return S_OK;
    case VT_R4: out->kind = K::kReal; out->d = v.fltVal; return S_OK;
    case VT_R8: out->kind = K::kReal; out->d = v.dblVal; return S_OK;
    case VT_DATE: out->kind = K::kDate; out->d = v.date; return S_OK;
    case VT_BOOL: out->kind = K::kBool; out->i = v.boolVal ? -1 : 0; return S_OK;
    case VT_CY: out->kind = K::kCy; out->i = v.cyVal.int64; return S_OK;
    case VT_ERROR: out->kind = K::kError; out->i = v.scode; return S_OK;
    case VT_BSTR:
      out->kind = K::kStr;
      out->s = v.bstrVal ? v.bstrVal : u"";
      out->slen = SysStringLen(v.bstrVal);
      return S_OK;
    default:
      return DISP_E_TYPEMISMATCH;
  }
}

// The value as a double for real-valued targets.
HRESULT AsReal(const Value& v, double* out) {
  switch (v.kind) {
    case K::kEmpty: *out = 0; return S_OK;
    case K::kInt: case K::kBool: *out = static_cast<double>(v.i); return S_OK;
    case K::kUInt: *out = static_cast<double>(v.u); return S_OK;
    case K::kReal: case K::kDate: *out = v.d; return S_OK;
    case K::kCy: *out = static_cast<double>(v.i) / 10000.0; return S_OK;
    case K::kStr: {
      Value n;
      HRESULT hr = ParseNumber(v.s, v.slen, &n);
      if (FAILED(hr)) return hr;
      return AsReal(n, out);
    }
    default:
      return DISP_E_TYPEMISMATCH;
  }
}

// The value as an integer in [lo, hi] (signed targets) or [0, uhi] (unsigned).
HRESULT AsSigned(const Value& v, int64_t lo, int64_t hi, int64_t* out) {
  switch (v.kind) {
    case K::kEmpty: *out = 0; return S_OK;
    case K::kBool: *out = v.i; return S_OK;
    case K::kInt:
      if (v.i < lo || v.i > hi) return DISP_E_OVERFLOW;
      *out = v.i;
      return S_OK;
    case K::kUInt:
      if (v.u > static_cast<uint64_t>(hi)) return DISP_E_OVERFLOW;
      *out = static_cast<int64_t>(v.u);
      return S_OK;
    case K::kCy: {
      double r = RoundEven(static_cast<double>(v.i) / 10000.0);
      if (r < static_cast<double>(lo) || r > static_cast<double>(hi)) return DISP_E_OVERFLOW;
      *out = static_cast<int64_t>(r);
      return S_OK;
    }
    case K::kReal: case K::kDate: {
      if (!std::isfinite(v.d)) return DISP_E_OVERFLOW;
      double r = RoundEven(v.d);
      // hi may not be representable; compare against 2^63 for int64.
      if (r < static_cast<double>(lo) || r >= static_cast<double>(hi) + 1.0) {
        return DISP_E_OVERFLOW;
      }
      *out = static_cast<int64_t>(r);
      return S_OK;
    }
    case K::kStr: {
      Value n;
      HRESULT hr = ParseNumber(v.s, v.slen, &n);
      if (FAILED(hr)) return hr;
      return AsSigned(n, lo, hi, out);
    }
    default:
      return DISP_E_TYPEMISMATCH;
  }
}

HRESULT AsUnsigned(const Value& v, uint64_t hi, uint64_t* out) {
  switch (v.kind) {
    case K::kEmpty: *out = 0; return S_OK;
    case K::kBool: *out = static_cast<uint64_t>(v.i) & hi; return S_OK;
    case K::kInt:
      if (v.i < 0 || static_cast<uint64_t>(v.i) > hi) return DISP_E_OVERFLOW;
      *out = static_cast<uint64_t>(v.i);
      return S_OK;
    case K::kUInt:
      if (v.u > hi) return DISP_E_OVERFLOW;
      *out = v.u;
      return S_OK;
    case K::kCy: case K::kReal: case K::kDate: {
      double d = v.kind == K::kCy ? static_cast<double>(v.i) / 10000.0 : v.d;
      if (!std::isfinite(d)) return DISP_E_OVERFLOW;
      double r = RoundEven(d);
      if (r < 0 || r >= static_cast<double>(hi) + 1.0) return DISP_E_OVERFLOW;
      *out = static_cast<uint64_t>(r);
      return S_OK;
    }
    case K::kStr: {
      Value n;
      HRESULT hr = ParseNumber(v.s, v.slen, &n);
      if (FAILED(hr)) return hr;
      return AsUnsigned(n, hi, out);
    }
    default:
      return DISP_E_TYPEMISMATCH;
  }
}

HRESULT AsBool(const Value& v, bool* out) {
  switch (v.kind) {
    case K::kEmpty: *out = false; return S_OK;
    case K::kInt: case K::kBool: case K::kCy: *out = v.i != 0; return S_OK;
    case K::kUInt: *out = v.u != 0; return S_OK;
    case K::kReal: case K::kDate: *out = v.d != 0; return S_OK;
    case K::kStr: {
      if (EqualsNoCase(v.s, v.slen, "true")) { *out = true; return S_OK; }
      if (EqualsNoCase(v.s, v.slen, "false")) { *out = false; return S_OK; }
      Value n;
      HRESULT hr = ParseNumber(v.s, v.slen, &n);
      if (FAILED(hr)) return hr;
      return AsBool(n, out);
    }
    default:
      return DISP_E_TYPEMISMATCH;
  }
}

HRESULT AsString(const Value& v, USHORT flags, VARTYPE src_vt, BSTR* out) {
  char buf[64];
  switch (v.kind) {
    case K::kEmpty:
      *out = SysAllocStringLen(u"", 0);
      return *out ? S_OK : E_OUTOFMEMORY;
    case K::kInt:
      std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(v.i));
      break;
    case K::kUInt:
      std::snprintf(buf, sizeof buf, "%llu", static_cast<unsigned long long>(v.u));
      break;
    case K::kBool:
      std::snprintf(buf, sizeof buf, "%s",
                    (flags & VARIANT_ALPHABOOL) ? (v.i ? "True" : "False") : (v.i ? "-1" : "0"));
      break;
    case K::kReal:
      return FormatReal(v.d, src_vt == VT_R4 ? 7 : 15, out);
    case K::kCy:
      return FormatReal(static_cast<double>(v.i) / 10000.0, 19, out);
    case K::kDate:
      return FormatDate(v.d, out);
    case K::kStr:
      *out = SysAllocStringLen(v.s, v.slen);
      return *out ? S_OK : E_OUTOFMEMORY;
    default:
      return DISP_E_TYPEMISMATCH;
  }
  *out = mlr::AllocBstrUtf8(buf);
  return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT AsDate(const Value& v, double* out) {
  if (v.kind == K::kStr) return ParseDate(v.s, v.slen, out);
  double d;
  HRESULT hr = AsReal(v, &d);
  if (FAILED(hr)) return hr;
  if (!(d >= kMinDate && d <= kMaxDate + 1)) return DISP_E_OVERFLOW;
  *out = d;
  return S_OK;
}

// Converts a scalar view into *dest (which is VT_EMPTY and owned by caller).
HRESULT Convert(const VARIANT& src, USHORT flags, VARTYPE vt, VARIANT* dest) {
  Value v;
  HRESULT hr = ValueOf(src, &v);
  if (FAILED(hr)) return hr;
  if (v.kind == K::kNull) return vt == VT_NULL ? S_OK : DISP_E_TYPEMISMATCH;
  if (v.kind == K::kError && vt != VT_ERROR) return DISP_E_TYPEMISMATCH;
  int64_t i = 0;
  uint64_t u = 0;
  double d = 0;
  bool b = false;
  switch (vt) {
    case VT_NULL:
      if (v.kind != K::kEmpty) return DISP_E_TYPEMISMATCH;
      break;
    case VT_I1:
      hr = AsSigned(v, INT8_MIN, INT8_MAX, &i);
      dest->cVal = static_cast<CHAR>(i);
      break;
    case VT_I2:
      hr = AsSigned(v, INT16_MIN, INT16_MAX, &i);
      dest->iVal = static_cast<SHORT>(i);
      break;
    case VT_I4:
    case VT_INT:
      hr = AsSigned(v, INT32_MIN, INT32_MAX, &i);
      dest->lVal = static_cast<LONG>(i);
      break;
    case VT_I8:
      hr = AsSigned(v, INT64_MIN, INT64_MAX, &i);
      dest->llVal = i;
      break;
    case VT_UI1:
      hr = AsUnsigned(v, UINT8_MAX, &u);
      dest->bVal = static_cast<BYTE>(u);
      break;
    case VT_UI2:
      hr = AsUnsigned(v, UINT16_MAX, &u);
      dest->uiVal = static_cast<USHORT>(u);
      break;
    case VT_UI4:
    case VT_UINT:
      hr = AsUnsigned(v, UINT32_MAX, &u);
      dest->ulVal = static_cast<ULONG>(u);
      break;
    case VT_UI8:
      hr = AsUnsigned(v, UINT64_MAX, &u);
      dest->ullVal = u;
      break;
    case VT_R4:
      hr = AsReal(v, &d);
      if (SUCCEEDED(hr) && std::isfinite(d) && std::fabs(d) > std::numeric_limits<float>::max()) {
        hr = DISP_E_OVERFLOW;
      }
      dest->fltVal = static_cast<float>(d);
      break;
    case VT_R8:
      hr = AsReal(v, &d);
      dest->dblVal = d;
      break;
    case VT_DATE:
      hr = AsDate(v, &d);
      dest->date = d;
      break;
    case VT_CY: {
      hr = AsReal(v, &d);
      if (SUCCEEDED(hr)) {
        double scaled = RoundEven(d * 10000.0);
        if (!std::isfinite(scaled) || scaled < -9223372036854775808.0 ||
            scaled >= 9223372036854775808.0) {
          hr = DISP_E_OVERFLOW;
        } else {
          dest->cyVal.int64 = static_cast<LONGLONG>(scaled);
        }
      }
      break;
    }
    case VT_BOOL:
      hr = AsBool(v, &b);
      dest->boolVal = b ? VARIANT_TRUE : VARIANT_FALSE;
      break;
    case VT_ERROR:
      if (v.kind != K::kError) return DISP_E_TYPEMISMATCH;
      dest->scode = static_cast<SCODE>(v.i);
      break;
    case VT_BSTR:
      hr = AsString(v, flags, src.vt, &dest->bstrVal);
      break;
    case VT_DISPATCH:
    case VT_UNKNOWN:
      if (v.kind != K::kEmpty) return DISP_E_TYPEMISMATCH;
      dest->punkVal = nullptr;
      break;
    default:
      return DISP_E_TYPEMISMATCH;
  }
  if (FAILED(hr)) return hr;
  dest->vt = vt;
  return S_OK;
}

// The DISPID_VALUE property of an object.
HRESULT ValueProperty(IDispatch* disp, VARIANT* out) {
  if (!disp) return DISP_E_TYPEMISMATCH;
  DISPPARAMS none = {nullptr, nullptr, 0, 0};
  HRESULT hr = disp->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                            &none, out, nullptr, nullptr);
  if (FAILED(hr)) {
    VariantClear(out);
    return DISP_E_TYPEMISMATCH;
  }
  return S_OK;
}

}  // namespace

void VariantInit(VARIANTARG* pvarg) {
  if (!pvarg) return;
  pvarg->vt = VT_EMPTY;
  pvarg->wReserved1 = pvarg->wReserved2 = pvarg->wReserved3 = 0;
}

HRESULT VariantClear(VARIANTARG* pvarg) {
  if (!pvarg) return E_INVALIDARG;
  VARTYPE vt = pvarg->vt;
  if (!IsValidVariantType(vt)) return DISP_E_BADVARTYPE;
  if (!(vt & VT_BYREF)) {
    if (vt & VT_ARRAY) {
      HRESULT hr = SafeArrayDestroy(pvarg->parray);
      if (FAILED(hr)) return hr;
    } else if (vt == VT_BSTR) {
      SysFreeString(pvarg->bstrVal);
    } else if (vt == VT_UNKNOWN || vt == VT_DISPATCH) {
      if (pvarg->punkVal) pvarg->punkVal->Release();
    }
  }
  pvarg->vt = VT_EMPTY;
  return S_OK;
}

HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc) {
  if (!pvargDest || !pvargSrc) return E_INVALIDARG;
  if (pvargDest == pvargSrc) return S_OK;
  VARTYPE vt = pvargSrc->vt;
  if (!IsValidVariantType(vt)) return DISP_E_BADVARTYPE;
  VARIANT copy = *pvargSrc;
  if (!(vt & VT_BYREF)) {
    if (vt & VT_ARRAY) {
      HRESULT hr = SafeArrayCopy(pvargSrc->parray, &copy.parray);
      if (FAILED(hr)) return hr;
    } else if (vt == VT_BSTR && pvargSrc->bstrVal) {
      copy.bstrVal = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(pvargSrc->bstrVal),
                                           SysStringByteLen(pvargSrc->bstrVal));
      if (!copy.bstrVal) return E_OUTOFMEMORY;
    } else if ((vt == VT_UNKNOWN || vt == VT_DISPATCH) && pvargSrc->punkVal) {
      pvargSrc->punkVal->AddRef();
    }
  }
  HRESULT hr = VariantClear(pvargDest);
  if (FAILED(hr)) {
    VariantClear(&copy);
    return hr;
  }
  *pvargDest = copy;
  return S_OK;
}

HRESULT VariantCopyInd(VARIANT* pvarDest, const VARIANTARG* pvargSrc) {
  if (!pvarDest || !pvargSrc) return E_INVALIDARG;
  if (!IsValidVariantType(pvargSrc->vt)) return DISP_E_BADVARTYPE;
  VARIANT view;
  HRESULT hr = Deref(pvargSrc, &view);
  if (FAILED(hr)) return hr;
  VARIANT copy;
  VariantInit(&copy);
  hr = VariantCopy(&copy, &view);
  if (FAILED(hr)) return hr;
  hr = VariantClear(pvarDest);
  if (FAILED(hr)) {
    VariantClear(&copy);
    return hr;
  }
  *pvarDest = copy;
  return S_OK;
}

HRESULT VariantChangeTypeEx(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, LCID,
                            USHORT wFlags, VARTYPE vt) {
  if (!pvargDest || !pvarSrc) return E_INVALIDARG;
  if (!IsValidVariantType(pvarSrc->vt)) return DISP_E_BADVARTYPE;
  if (vt & (VT_BYREF | VT_VECTOR | VT_RESERVED) || (vt & VT_TYPEMASK) == VT_VARIANT) {
    if (!(vt & VT_ARRAY)) return DISP_E_BADVARTYPE;
  }
  if (vt != VT_EMPTY && !IsValidVariantType(vt)) return DISP_E_BADVARTYPE;
  VARIANT view;
  HRESULT hr = Deref(pvarSrc, &view);
  if (FAILED(hr)) return hr;

  VARIANT result;
  VariantInit(&result);
  if (vt == VT_EMPTY) {
    // Any value converts to VT_EMPTY.
  } else if (view.vt == vt) {
    hr = VariantCopy(&result, &view);
  } else if ((view.vt & VT_ARRAY) || (vt & VT_ARRAY)) {
    hr = DISP_E_TYPEMISMATCH;
  } else if (view.vt == VT_DECIMAL || view.vt == VT_RECORD || vt == VT_DECIMAL ||
             vt == VT_RECORD) {
    hr = DISP_E_TYPEMISMATCH;
  } else if (view.vt == VT_DISPATCH || view.vt == VT_UNKNOWN) {
    IUnknown* unk = view.punkVal;
    if (vt == VT_DISPATCH || vt == VT_UNKNOWN) {
      if (!unk) {
        result.vt = vt;
        result.punkVal = nullptr;
      } else {
        void* p = nullptr;
        hr = unk->QueryInterface(vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown, &p);
        if (SUCCEEDED(hr)) {
          result.vt = vt;
          result.punkVal = static_cast<IUnknown*>(p);
        } else {
          hr = DISP_E_TYPEMISMATCH;
        }
      }
    } else if (wFlags & VARIANT_NOVALUEPROP) {
      hr = DISP_E_TYPEMISMATCH;
    } else {
      IDispatch* disp = nullptr;
      if (view.vt == VT_DISPATCH) {
        disp = view.pdispVal;
        if (disp) disp->AddRef();
      } else if (unk) {
        void* p = nullptr;
        if (SUCCEEDED(unk->QueryInterface(IID_IDispatch, &p))) disp = static_cast<IDispatch*>(p);
      }
      VARIANT value;
      VariantInit(&value);
      hr = ValueProperty(disp, &value);
      if (disp) disp->Release();
      if (SUCCEEDED(hr)) {
        if (value.vt == VT_DISPATCH || value.vt == VT_UNKNOWN) {
          hr = DISP_E_TYPEMISMATCH;  // no second round
        } else {
          hr = VariantChangeTypeEx(&result, &value, 0, wFlags, vt);
        }
      }
      VariantClear(&value);
    }
  } else {
    hr = Convert(view, wFlags, vt, &result);
  }
  if (FAILED(hr)) {
    VariantClear(&result);
    return hr;
  }
  hr = VariantClear(pvargDest);
  if (FAILED(hr)) {
    VariantClear(&result);
    return hr;
  }
  *pvargDest = result;
  return S_OK;
}

HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT wFlags,
                          VARTYPE vt) {
  return VariantChangeTypeEx(pvargDest, pvarSrc, LOCALE_USER_DEFAULT, wFlags, vt);
}

#endif  // !_WIN32
