// krf resample FILE --start S --end E --step X [--channel G:C]... [--invalid V]:
// the items of a channel resampler's run as CSV: a Time column (S + k * X),
// then one column per channel in the order given (default: every channel of
// every group, in group order), headed by the channel names. Analog values
// print as floats that read back to the same float ("nan" for a NaN, which
// is what the default invalid value gives), event values as integers.
//
// The run is written buffer by buffer, so memory does not grow with its
// length; on a terminal, a run of more than a few buffers shows a progress
// bar on standard error. Refused with a message and exit status 1: an end
// before the start, a step that is not above 0, a channel the recording does
// not have. Opens read-only.
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "server/module.h"
#include "tools/krf/command.h"
#include "tools/krf/command_support.h"
#include "tools/krf/data_output.h"
#include "tools/krf/recording_view.h"

namespace {

using mlr::ComPtr;

struct Options {
  std::string file;
  double start = 0.0;
  double end = 0.0;
  double step = 0.0;
  std::vector<std::string> channels;  // "G:C"
  double invalid = 0.0;
  bool has_invalid = false;
};

struct Column {
  ComPtr<IChannelInfo> info;
  std::string name;
};

ComPtr<IChannelInfos> InfosOf(IRecording* recording, LONG group) {
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelGroup> g;
  ComPtr<IChannelInfos> infos;
  if (SUCCEEDED(recording->get_ChannelGroups(groups.put())) && groups) {
    groups->get_Item(group, g.put());
  }
  if (g) g->get_ChannelInfos(infos.put());
  return infos;
}

std::string NameOf(IChannelInfo* info, LONG group, LONG channel) {
  std::string text = krf::ChannelName(info);
  if (text.empty()) text = "Channel " + std::to_string(group) + ":" + std::to_string(channel);
  return text;
}

bool ParseChannel(const std::string& text, LONG* group, LONG* channel) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  char* end = nullptr;
  const long g = std::strtol(text.c_str(), &end, 10);
  if (end != text.c_str() + colon) return false;
  const long c = std::strtol(text.c_str() + colon + 1, &end, 10);
  if (*end != '\0' || colon + 1 == text.size()) return false;
  if (g < 1 || c < 1 || g > 0x7FFFFFFF || c > 0x7FFFFFFF) return false;
  *group = static_cast<LONG>(g);
  *channel = static_cast<LONG>(c);
  return true;
}

// The channels to resample; on failure an error message and its status.
HRESULT PickColumns(IRecording* recording, const std::vector<std::string>& wanted,
                    std::vector<Column>* columns, std::string* message) {
  if (wanted.empty()) {
    for (LONG g = 1;; ++g) {
      ComPtr<IChannelInfos> infos = InfosOf(recording, g);
      if (!infos) break;
      LONG count = 0;
      infos->get_Count(&count);
      for (LONG c = 1; c <= count; ++c) {
        ComPtr<IChannelInfo> info;
        infos->get_Item(c, info.put());
        if (info) columns->push_back({info, NameOf(info.get(), g, c)});
      }
    }
    *message = "the recording has no channels";
    return columns->empty() ? E_INVALIDARG : S_OK;
  }
  for (const std::string& text : wanted) {
    LONG g = 0, c = 0;
    if (!ParseChannel(text, &g, &c)) {
      *message = "channel \"" + text + "\" is not GROUP:CHANNEL";
      return E_INVALIDARG;
    }
    ComPtr<IChannelInfo> info;
    const HRESULT hr = krf::FindChannel(recording, g, c, &info, message);
    if (FAILED(hr)) return hr;
    columns->push_back({info, NameOf(info.get(), g, c)});
  }
  return S_OK;
}

// A bar of 40 characters on standard error, redrawn in place.
class Progress {
 public:
  Progress(int64_t total, bool shown) : total_(total), shown_(shown) {}
  void Update(int64_t done) {
    if (!shown_ || total_ <= 0) return;
    const int filled = static_cast<int>(40 * done / total_);
    if (filled == last_) return;
    last_ = filled;
    std::fprintf(stderr, "\r[%s%s] %3d%%", std::string(filled, '#').c_str(),
                 std::string(40 - filled, ' ').c_str(), static_cast<int>(100 * done / total_));
    std::fflush(stderr);
  }
  void Finish() {
    if (shown_ && last_ >= 0) std::fprintf(stderr, "\n");
  }

 private:
  int64_t total_;
  bool shown_;
  int last_ = -1;
};

// Writes the columns of one GetNextDataBuffers result as CSV rows.
void WriteRows(SAFEARRAY* result, LONG n, size_t width, const Options& o, int64_t first_item,
               std::string* out) {
  void* slots = nullptr;
  SafeArrayAccessData(result, &slots);
  std::vector<const void*> data(width);
  std::vector<bool> event(width);
  for (size_t k = 0; k < width; ++k) {
    const VARIANT& v = static_cast<const VARIANT*>(slots)[k];
    event[k] = (v.vt & ~VT_ARRAY) == VT_I2;
    void* p = nullptr;
    SafeArrayAccessData(v.parray, &p);
    data[k] = p;
  }
  for (LONG i = 0; i < n; ++i) {
    out->append(krf::RoundTrip(o.start + static_cast<double>(first_item + i) * o.step));
    for (size_t k = 0; k < width; ++k) {
      out->push_back(',');
      if (event[k]) {
        out->append(std::to_string(static_cast<const SHORT*>(data[k])[i]));
      } else {
        out->append(krf::RoundTripFloat(static_cast<const float*>(data[k])[i]));
      }
    }
    out->push_back('\n');
  }
  for (size_t k = 0; k < width; ++k) {
    SafeArrayUnaccessData(static_cast<const VARIANT*>(slots)[k].parray);
  }
  SafeArrayUnaccessData(result);
}

int Run(const Options& o) {
  if (!std::isfinite(o.start) || !std::isfinite(o.end)) {
    return krf::ReportError(o.file, "the start and end times must be numbers", E_INVALIDARG);
  }
  if (o.end < o.start) {
    return krf::ReportError(o.file, "the end time lies before the start time", E_INVALIDARG);
  }
  if (!(o.step > 0.0) || !std::isfinite(o.step)) {
    return krf::ReportError(o.file, "the step must be above 0", E_INVALIDARG);
  }
  ComPtr<IRecording> recording;
  int status = 1;
  if (!krf::OpenOrReport(o.file, &recording, &status)) return status;
  std::vector<Column> columns;
  std::string problem;
  HRESULT hr = PickColumns(recording.get(), o.channels, &columns, &problem);
  if (FAILED(hr)) return krf::ReportError(o.file, problem, hr);

  ComPtr<IClassFactory> factory;
  ComPtr<IChannelResampler> resampler;
  hr = DllGetClassObject(CLSID_ChannelResampler, IID_IClassFactory, factory.put_void());
  if (SUCCEEDED(hr)) {
    hr = factory->CreateInstance(nullptr, IID_IChannelResampler, resampler.put_void());
  }
  if (FAILED(hr)) return krf::ReportError(o.file, "cannot create the resampler", hr);
  resampler->put_StartTime(o.start);
  resampler->put_EndTime(o.end);
  resampler->put_XStep(o.step);
  if (o.has_invalid) resampler->put_InvalidSampleValue(o.invalid);

  SAFEARRAY* list = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(columns.size()));
  if (!list) return krf::ReportError(o.file, "out of memory", E_OUTOFMEMORY);
  for (LONG i = 0; i < static_cast<LONG>(columns.size()); ++i) {
    SafeArrayPutElement(list, &i, static_cast<IDispatch*>(columns[static_cast<size_t>(i)].info.get()));
  }
  hr = resampler->Start(&list);
  SafeArrayDestroy(list);
  if (FAILED(hr)) return krf::ReportError(o.file, "Start failed", hr);

  std::string out = "Time";
  for (const Column& c : columns) out += "," + c.name;
  out += "\n";
  std::fwrite(out.data(), 1, out.size(), stdout);

  const double steps = std::trunc((o.end - o.start) / o.step + 0.5);
  const int64_t total = steps < 9e18 ? static_cast<int64_t>(steps) + 1 : INT64_MAX;
  Progress progress(total, isatty(STDERR_FILENO) && total > 8 * 8192);
  int64_t done = 0;
  for (;;) {
    LONG n = 0;
    SAFEARRAY* result = nullptr;
    hr = resampler->GetNextDataBuffers(&n, &result);
    if (FAILED(hr)) {
      progress.Finish();
      return krf::ReportError(o.file, "GetNextDataBuffers failed", hr);
    }
    if (n == 0) break;
    out.clear();
    WriteRows(result, n, columns.size(), o, done, &out);
    SafeArrayDestroy(result);
    std::fwrite(out.data(), 1, out.size(), stdout);
    done += n;
    progress.Update(done);
  }
  progress.Finish();
  return std::fflush(stdout) == 0 ? 0 : krf::ReportError(o.file, "cannot write", E_FAIL);
}

const krf::Registrar kResample(
    "resample", "Resample channels of several groups onto one time grid, as CSV (opens read-only)",
    [](CLI::App& app) {
      auto o = std::make_shared<Options>();
      app.add_option("FILE", o->file, "recording file")->required();
      app.add_option("--start", o->start, "start time (s since the recording's start)")
          ->required();
      app.add_option("--end", o->end, "end time (s)")->required();
      app.add_option("--step", o->step, "time between two items (s)")->required();
      app.add_option("--channel", o->channels,
                     "GROUP:CHANNEL, 1-based (repeatable; default: every channel)");
      app.add_option_function<double>(
          "--invalid",
          [o](double v) {
            o->invalid = v;
            o->has_invalid = true;
          },
          "value for samples that cannot be given (default: the void number, printed nan)");
      return krf::WithCom([o] { return Run(*o); });
    });

}  // namespace
