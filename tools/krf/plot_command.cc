// krf plot FILE --group G --channel C [--start S] [--end E] [--width PX]
// [--out FILE.svg]: an SVG picture of the channel drawn from GetDisplayData,
// one point per pixel column (PX points, default 800) from S to E (default:
// the group's start and end): the min-max band, gaps where points are void,
// axes with the recording's time unit and the channel's unit. Writes to
// standard output unless --out names a file. Opens read-only.
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "tools/krf/command.h"
#include "tools/krf/command_support.h"
#include "tools/krf/display_points.h"
#include "tools/krf/recording_view.h"
#include "tools/krf/svg_plot.h"

namespace {

using mlr::ComPtr;

struct Options {
  std::string file;
  LONG group = 0;
  LONG channel = 0;
  std::optional<double> start;
  std::optional<double> end;
  LONG width = 800;
  std::string out;
};

std::string Text(BSTR text) {
  std::string out = krf::Utf8(text);
  SysFreeString(text);
  return out;
}

int Run(const Options& o) {
  ComPtr<IRecording> recording;
  ComPtr<IChannelInfo> info;
  int status = 0;
  if (!krf::OpenChannelOrReport(o.file, o.group, o.channel, &recording, &info, &status)) {
    return status;
  }

  krf::PlotLabels labels;
  labels.title = krf::ChannelName(info.get());
  if (labels.title.empty()) labels.title = "Channel " + std::to_string(o.channel);
  BSTR text = nullptr;
  if (SUCCEEDED(info->get_YUnits(&text))) labels.y_units = Text(text);
  text = nullptr;
  if (SUCCEEDED(recording->get_XUnits(&text))) labels.x_units = Text(text);

  double start = 0.0;
  double end = 0.0;
  ComPtr<IChannelGroup> group;
  if (SUCCEEDED(info->get_ChannelGroup(group.put())) && group) {
    group->get_StartTime(&start);
    group->get_EndTime(&end);
  }
  if (o.start) start = *o.start;
  if (o.end) end = *o.end;

  krf::DisplayPoints points;
  std::string message;
  const HRESULT hr = krf::ReadDisplayPoints(recording.get(), o.group, o.channel, start, end, o.width, &points,
                              &message);
  if (FAILED(hr)) return krf::ReportError(o.file, message, hr);
  const std::string svg = krf::SvgPlot(points, labels);
  if (o.out.empty()) {
    std::fwrite(svg.data(), 1, svg.size(), stdout);
    return 0;
  }
  std::ofstream file(o.out, std::ios::binary | std::ios::trunc);
  file << svg;
  if (!file.good()) return krf::ReportError(o.out, "cannot write the picture", E_FAIL);
  return 0;
}

const krf::Registrar kPlot("plot", "Draw a channel as an SVG picture (opens read-only)",
                           [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("FILE", o->file, "recording file")->required();
  app.add_option("--group", o->group, "channel group (1-based)")->required();
  app.add_option("--channel", o->channel, "channel of the group (1-based)")->required();
  app.add_option("--start", o->start, "start time (default: the group's start)");
  app.add_option("--end", o->end, "end time (default: the group's end)");
  app.add_option("--width", o->width, "width in pixels = number of points (default 800)");
  app.add_option("--out", o->out, "SVG file to write (default: standard output)");
  return krf::WithCom([o]() { return Run(*o); });
});

}  // namespace
