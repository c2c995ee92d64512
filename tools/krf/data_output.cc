#include "tools/krf/data_output.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "platform/com_ptr.h"
#include "platform/win.h"
#include "tools/krf/recording_view.h"

namespace krf {

std::string TakeErrorText() {
  mlr::ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, info.put()) != S_OK || !info) return "";
  BSTR text = nullptr;
  std::string description;
  if (SUCCEEDED(info->GetDescription(&text))) description = Utf8(text);
  SysFreeString(text);
  return description;
}

std::string WithErrorText(const std::string& what) {
  const std::string description = TakeErrorText();
  return description.empty() ? what : what + " (" + description + ")";
}

std::string RoundTripFloat(float value) {
  if (std::isnan(value)) return "nan";
  char buf[32];
  for (int precision = 6; precision <= 9; ++precision) {
    std::snprintf(buf, sizeof buf, "%.*g", precision, static_cast<double>(value));
    if (std::strtof(buf, nullptr) == value) break;
  }
  return buf;
}

}  // namespace krf
