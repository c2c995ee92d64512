#include "tools/krf/svg_plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace krf {
namespace {

constexpr double kLeft = 80.0;
constexpr double kRight = 20.0;
constexpr double kTop = 30.0;
constexpr double kBottom = 50.0;
constexpr double kHeight = 300.0;

std::string Num(double value) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.2f", value);
  return buf;
}

std::string Label(double value) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.6g", std::fabs(value) < 1e-12 ? 0.0 : value);
  return buf;
}

std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

// Tick values: a step of 1, 2 or 5 times a power of ten, about five ticks.
std::vector<double> Ticks(double low, double high) {
  std::vector<double> ticks;
  const double range = high - low;
  if (!(range > 0.0) || !std::isfinite(range)) return {low};
  const double rough = range / 5.0;
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  double step = power;
  for (double m : {1.0, 2.0, 5.0, 10.0}) {
    if (m * power >= rough) {
      step = m * power;
      break;
    }
  }
  for (double t = std::ceil(low / step) * step; t <= high + step * 1e-9; t += step) ticks.push_back(t);
  return ticks;
}

std::string Titled(const std::string& name, const std::string& units) {
  return units.empty() ? name : name + " [" + units + "]";
}

}  // namespace

std::string SvgPlot(const DisplayPoints& points, const PlotLabels& labels) {
  const size_t n = points.max.size();
  const double width = std::max<double>(static_cast<double>(n), 1.0);
  double low = HUGE_VAL;
  double high = -HUGE_VAL;
  for (size_t i = 0; i < n; ++i) {
    if (points.IsVoid(i)) continue;
    low = std::min<double>(low, points.min[i]);
    high = std::max<double>(high, points.max[i]);
  }
  if (!(low <= high)) low = -1.0, high = 1.0;  // nothing to draw
  if (low == high) low -= 1.0, high += 1.0;
  const double pad = (high - low) * 0.05;
  low -= pad;
  high += pad;
  const auto x_of = [&](size_t i) { return kLeft + static_cast<double>(i) + 0.5; };
  const auto y_of = [&](double v) { return kTop + (high - v) / (high - low) * kHeight; };
  const double t0 = points.TimeOf(0);
  const double t1 = points.TimeOf(n > 0 ? n - 1 : 0);
  const auto x_of_time = [&](double t) {
    return t1 > t0 ? kLeft + 0.5 + (t - t0) / (t1 - t0) * (width - 1.0) : kLeft + 0.5;
  };

  std::string svg;
  const double total_w = kLeft + width + kRight;
  const double total_h = kTop + kHeight + kBottom;
  svg += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  svg += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Num(total_w) + "\" height=\"" +
         Num(total_h) + "\" viewBox=\"0 0 " + Num(total_w) + " " + Num(total_h) + "\">\n";
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg += "<text x=\"" + Num(kLeft) + "\" y=\"20\" font-family=\"sans-serif\" font-size=\"13\">" +
         Escape(labels.title) + "</text>\n";

  // Grid and ticks.
  svg += "<g stroke=\"#dddddd\" stroke-width=\"1\">\n";
  const std::vector<double> y_ticks = Ticks(low, high);
  const std::vector<double> x_ticks = Ticks(t0, t1);
  for (double v : y_ticks) {
    svg += "<line x1=\"" + Num(kLeft) + "\" x2=\"" + Num(kLeft + width) + "\" y1=\"" +
           Num(y_of(v)) + "\" y2=\"" + Num(y_of(v)) + "\"/>\n";
  }
  for (double t : x_ticks) {
    svg += "<line x1=\"" + Num(x_of_time(t)) + "\" x2=\"" + Num(x_of_time(t)) + "\" y1=\"" +
           Num(kTop) + "\" y2=\"" + Num(kTop + kHeight) + "\"/>\n";
  }
  svg += "</g>\n<g font-family=\"sans-serif\" font-size=\"11\" fill=\"black\">\n";
  for (double v : y_ticks) {
    svg += "<text x=\"" + Num(kLeft - 6) + "\" y=\"" + Num(y_of(v) + 4) +
           "\" text-anchor=\"end\">" + Label(v) + "</text>\n";
  }
  for (double t : x_ticks) {
    svg += "<text x=\"" + Num(x_of_time(t)) + "\" y=\"" + Num(kTop + kHeight + 16) +
           "\" text-anchor=\"middle\">" + Label(t) + "</text>\n";
  }
  svg += "<text x=\"" + Num(kLeft + width / 2) + "\" y=\"" + Num(kTop + kHeight + 38) +
         "\" text-anchor=\"middle\">" + Escape(Titled("Time", labels.x_units)) + "</text>\n";
  svg += "<text transform=\"translate(16 " + Num(kTop + kHeight / 2) +
         ") rotate(-90)\" text-anchor=\"middle\">" +
         Escape(Titled(labels.title, labels.y_units)) + "</text>\n</g>\n";

  // The band: one closed path per run of points with data.
  svg += "<g fill=\"#4a7ebb\" fill-opacity=\"0.6\" stroke=\"#1f4e8c\" stroke-width=\"1\">\n";
  for (size_t i = 0; i < n;) {
    if (points.IsVoid(i)) {
      ++i;
      continue;
    }
    size_t j = i;
    while (j < n && !points.IsVoid(j)) ++j;
    std::string path = "M" + Num(x_of(i)) + "," + Num(y_of(points.max[i]));
    for (size_t k = i + 1; k < j; ++k) path += " L" + Num(x_of(k)) + "," + Num(y_of(points.max[k]));
    for (size_t k = j; k-- > i;) path += " L" + Num(x_of(k)) + "," + Num(y_of(points.min[k]));
    svg += "<path d=\"" + path + " Z\"/>\n";
    i = j;
  }
  svg += "</g>\n";
  svg += "<rect x=\"" + Num(kLeft) + "\" y=\"" + Num(kTop) + "\" width=\"" + Num(width) +
         "\" height=\"" + Num(kHeight) + "\" fill=\"none\" stroke=\"black\"/>\n";
  svg += "</svg>\n";
  return svg;
}

}  // namespace krf
