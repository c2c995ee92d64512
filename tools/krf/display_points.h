// The display data of one channel as the krf commands use it: the points
// GetDisplayData returns, read out of its array.
#pragma once

#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "platform/win.h"

namespace krf {

struct DisplayPoints {
  double start = 0.0;
  double width = 0.0;  // W = (end - start) / (count - 1)
  std::vector<float> max, min;

  double TimeOf(size_t i) const { return start + static_cast<double>(i) * width; }
  // The point carries the void number (converted to a float).
  bool IsVoid(size_t i) const;
};

// GetDisplayData(group G, channel C of that group, start, end, count) into
// *points (the points returned; none for a null result). On failure
// `message` says what failed ("no channel 3 in group 1", "GetDisplayData
// failed (...)") and the status is returned.
HRESULT ReadDisplayPoints(IRecording* recording, LONG group, LONG channel, double start, double end,
                          LONG count, DisplayPoints* points, std::string* message);

}  // namespace krf
