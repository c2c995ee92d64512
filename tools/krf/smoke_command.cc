// krf smoke: exercises the automation runtime (BSTR, VARIANT conversion,
// SAFEARRAY, error info) and prints what it sees. Exit status 0 when every
// step behaved as documented.
#include "platform/strings.h"
#include "platform/win.h"
#include "tools/krf/command.h"

#include <cstdio>
#include <string>

namespace {

int RunSmoke() {
  int failures = 0;
  auto check = [&](bool ok, const char* what) {
    if (!ok) {
      std::fprintf(stderr, "krf smoke: %s\n", what);
      ++failures;
    }
  };

  mlr::Bstr text = mlr::Bstr::FromUtf8("Kalvern recording \xe2\x80\x93 smoke");
  std::printf("BSTR: \"%s\" (%u characters, %u bytes)\n", text.Utf8().c_str(), text.Length(),
              SysStringByteLen(text.get()));
  check(text.Length() == 25, "BSTR length");

  mlr::Variant number;
  number->vt = VT_BSTR;
  number->bstrVal = SysAllocString(OLESTR("2.5"));
  mlr::Variant as_long, as_date, as_text;
  HRESULT hr = VariantChangeType(as_long.get(), number.get(), 0, VT_I4);
  std::printf("VARIANT: \"2.5\" as VT_I4 = %d (half to even)\n", static_cast<int>(as_long->lVal));
  check(hr == S_OK && as_long->lVal == 2, "VT_BSTR to VT_I4");
  as_date->vt = VT_R8;
  as_date->dblVal = 45000.75;
  hr = VariantChangeType(as_date.get(), as_date.get(), 0, VT_DATE);
  hr = SUCCEEDED(hr) ? VariantChangeType(as_text.get(), as_date.get(), 0, VT_BSTR) : hr;
  std::string date = SUCCEEDED(hr) ? mlr::ToUtf8(as_text->bstrVal) : "?";
  std::printf("VARIANT: DATE 45000.75 as text = %s\n", date.c_str());
  check(date == "2023-03-15 18:00:00", "VT_DATE to VT_BSTR");
  mlr::Variant big;
  big->vt = VT_R8;
  big->dblVal = 1e10;
  mlr::Variant small;
  hr = VariantChangeType(small.get(), big.get(), 0, VT_I2);
  std::printf("VARIANT: 1e10 as VT_I2 = 0x%08X (DISP_E_OVERFLOW)\n", static_cast<unsigned>(hr));
  check(hr == DISP_E_OVERFLOW, "overflow");

  SAFEARRAYBOUND bounds[2] = {{3, 0}, {2, 1}};
  SAFEARRAY* psa = SafeArrayCreate(VT_R8, 2, bounds);
  check(psa != nullptr, "SafeArrayCreate");
  if (psa) {
    double* data = nullptr;
    if (SUCCEEDED(SafeArrayAccessData(psa, reinterpret_cast<void**>(&data)))) {
      for (int i = 0; i < 6; ++i) data[i] = i * 0.5;
      SafeArrayUnaccessData(psa);
    }
    LONG index[2] = {2, 2};
    double value = 0;
    hr = SafeArrayGetElement(psa, index, &value);
    LONG ub = 0;
    SafeArrayGetUBound(psa, 2, &ub);
    std::printf("SAFEARRAY: 3 x 2 of VT_R8, element (2,2) = %g, upper bound of dimension 2 = %d\n",
                value, static_cast<int>(ub));
    check(hr == S_OK && value == 2.5 && ub == 2, "SAFEARRAY element");
    SafeArrayLock(psa);
    hr = SafeArrayDestroy(psa);
    std::printf("SAFEARRAY: destroy while locked = 0x%08X (DISP_E_ARRAYISLOCKED)\n",
                static_cast<unsigned>(hr));
    check(hr == DISP_E_ARRAYISLOCKED, "locked destroy");
    SafeArrayUnlock(psa);
    check(SafeArrayDestroy(psa) == S_OK, "SafeArrayDestroy");
  }

  std::printf("%s\n", failures ? "smoke: FAILED" : "smoke: ok");
  return failures ? 1 : 0;
}

const krf::Registrar kSmoke("smoke", "Exercise the automation runtime and print what it does",
                            [](CLI::App&) { return [] { return RunSmoke(); }; });

}  // namespace
