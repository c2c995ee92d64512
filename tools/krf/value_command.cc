// krf value FILE --group G --channel C --time T [--time T]...: the raw
// sample (GetSampleAtTime) and the value in technical units (GetValueAtTime)
// of one channel at each time, as CSV "Time,Sample,Value". A void value
// prints as an empty field. Both functions answer S_OK even when they find
// nothing; the reason they leave on the thread is printed to standard error
// as a note ("krf: rec.krf: at 9.5: Specfied time out of range"), and the
// exit status stays 0. Opens read-only.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tools/krf/command.h"
#include "tools/krf/command_support.h"
#include "tools/krf/data_output.h"
#include "tools/krf/recording_view.h"

namespace {

using mlr::ComPtr;

struct Options {
  std::string file;
  LONG group = 0;
  LONG channel = 0;
  std::vector<double> times;
};

int Run(const Options& o) {
  ComPtr<IRecording> recording;
  ComPtr<IChannelInfo> channel;
  int exit_status = 0;
  if (!krf::OpenChannelOrReport(o.file, o.group, o.channel, &recording, &channel, &exit_status)) {
    return exit_status;
  }

  std::printf("Time,Sample,Value\n");
  for (double t : o.times) {
    short sample = 0;
    double value = 0.0;
    HRESULT hr = GetSampleAtTime(channel.get(), t, &sample);
    if (FAILED(hr)) return krf::ReportError(o.file, "GetSampleAtTime failed", hr);
    hr = GetValueAtTime(channel.get(), t, &value);
    if (FAILED(hr)) return krf::ReportError(o.file, "GetValueAtTime failed", hr);
    const std::string note = krf::TakeErrorText();
    if (!note.empty()) {
      std::fprintf(stderr, "krf: %s: at %s: %s\n", o.file.c_str(), krf::RoundTrip(t).c_str(),
                   note.c_str());
    }
    const std::string shown = IsVoidNumber(value) ? "" : krf::RoundTrip(value);
    std::printf("%s,%d,%s\n", krf::RoundTrip(t).c_str(), sample, shown.c_str());
  }
  return 0;
}

const krf::Registrar kValue("value",
                            "Print a channel's sample and value at given times as CSV (opens "
                            "read-only)",
                            [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("FILE", o->file, "recording file")->required();
  app.add_option("--group", o->group, "channel group (1-based)")->required();
  app.add_option("--channel", o->channel, "channel of the group (1-based)")->required();
  app.add_option("--time", o->times, "seconds since the recording's start (repeatable)")
      ->required()
      ->allow_extra_args(false);
  return krf::WithCom([o]() { return Run(*o); });
});

}  // namespace
