#include "tools/krf/display_points.h"

#include <cstdint>
#include <cstring>

#include "platform/com_ptr.h"
#include "tools/krf/command_support.h"
#include "tools/krf/data_output.h"

namespace krf {

bool DisplayPoints::IsVoid(size_t i) const {
  const float void_float = static_cast<float>([] {
    const uint64_t bits = 0x7FFFFFFFFFFFFFFFull;
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }());
  return std::memcmp(&max[i], &void_float, sizeof(float)) == 0 &&
         std::memcmp(&min[i], &void_float, sizeof(float)) == 0;
}

HRESULT ReadDisplayPoints(IRecording* recording, LONG group, LONG channel, double start, double end,
                          LONG count, DisplayPoints* points, std::string* message) {
  mlr::ComPtr<IChannelInfo> info;
  HRESULT hr = FindChannel(recording, group, channel, &info, message);
  if (FAILED(hr)) return hr;
  mlr::ComPtr<IChannelGroup> owner;
  if (FAILED(hr = info->get_ChannelGroup(owner.put())) || !owner) {
    *message = "the channel has no group";
    return FAILED(hr) ? hr : E_FAIL;
  }
  SAFEARRAY* result = nullptr;
  hr = GetDisplayData(owner.get(), info.get(), start, end, count, &result);
  if (FAILED(hr)) {
    *message = WithErrorText("GetDisplayData failed");
    return hr;
  }
  points->start = start;
  points->width = count > 1 ? (end - start) / (count - 1) : 0.0;
  points->max.clear();
  points->min.clear();
  if (result == nullptr) return hr;
  LONG lower = 0, upper = -1;
  SafeArrayGetLBound(result, 2, &lower);
  SafeArrayGetUBound(result, 2, &upper);
  void* data = nullptr;
  if (SUCCEEDED(SafeArrayAccessData(result, &data))) {
    const float* values = static_cast<const float*>(data);
    for (LONG i = 0; i <= upper - lower; ++i) {
      points->max.push_back(values[2 * i]);
      points->min.push_back(values[2 * i + 1]);
    }
    SafeArrayUnaccessData(result);
  }
  SafeArrayDestroy(result);
  return hr;
}

}  // namespace krf
