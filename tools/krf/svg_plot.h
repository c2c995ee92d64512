// An SVG picture of one channel's display data: per pixel column the band
// from the minimum to the maximum, gaps where points are void, a frame with
// ticks, and axis titles with the units.
#pragma once

#include <string>

#include "tools/krf/display_points.h"

namespace krf {

struct PlotLabels {
  std::string title;    // the channel's name
  std::string x_units;  // the recording's time unit
  std::string y_units;  // the channel's unit
};

// The whole SVG document; one pixel column per point.
std::string SvgPlot(const DisplayPoints& points, const PlotLabels& labels);

}  // namespace krf
