// krf display FILE --group G --channel C --start S --end E --count N:
// GetDisplayData of the channel as CSV "Time,Max,Min", Time = S + i x W with
// W = (E - S) / (N - 1); a void point prints empty fields. Opens read-only.
// The arguments go to GetDisplayData as given: its status is reported as an
// error line when it fails.
#include <cstdio>
#include <memory>
#include <string>

#include "tools/krf/command.h"
#include "tools/krf/command_support.h"
#include "tools/krf/data_output.h"
#include "tools/krf/display_points.h"
#include "tools/krf/recording_view.h"

namespace {

struct Options {
  std::string file;
  LONG group = 0;
  LONG channel = 0;
  double start = 0.0;
  double end = 0.0;
  LONG count = 0;
};

int Run(const Options& o) {
  mlr::ComPtr<IRecording> recording;
  int status = 0;
  if (!krf::OpenOrReport(o.file, &recording, &status)) return status;
  krf::DisplayPoints points;
  std::string message;
  const HRESULT hr =
      krf::ReadDisplayPoints(recording.get(), o.group, o.channel, o.start, o.end, o.count, &points,
                             &message);
  if (FAILED(hr)) return krf::ReportError(o.file, message, hr);
  std::printf("Time,Max,Min\n");
  for (size_t i = 0; i < points.max.size(); ++i) {
    std::string line = krf::RoundTrip(points.TimeOf(i)) + ",";
    if (!points.IsVoid(i)) {
      line += krf::RoundTripFloat(points.max[i]) + "," + krf::RoundTripFloat(points.min[i]);
    } else {
      line += ",";
    }
    std::printf("%s\n", line.c_str());
  }
  return 0;
}

const krf::Registrar kDisplay("display",
                              "Print a channel's display data (max/min per point) as CSV "
                              "(opens read-only)",
                              [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("FILE", o->file, "recording file")->required();
  app.add_option("--group", o->group, "channel group (1-based)")->required();
  app.add_option("--channel", o->channel, "channel of the group (1-based)")->required();
  app.add_option("--start", o->start, "start time (seconds since the recording's start)")
      ->required();
  app.add_option("--end", o->end, "end time (seconds since the recording's start)")->required();
  app.add_option("--count", o->count, "number of points")->required();
  return krf::WithCom([o]() { return Run(*o); });
});

}  // namespace
