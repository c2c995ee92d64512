// krf data FILE --group G [--hnorm H] [--first F] [--count N] [--reduction R]
// [--channel C]... [--scaled | --one-of N | --merge M [--request Q]]:
// a group's frames as CSV with a Time column and one column per channel, two
// ("<name> max", "<name> min") for (maximum, minimum) pairs. Opens read-only.
//
//   (plain)      GetMuxData(H, F, N, R): raw integers; Time = StartTime +
//                (F - 1 + i x R) x XStep of the normset.
//   --scaled     GetScaledMuxData(H, F, N, R): technical values (doubles that
//                read back exactly), event channels as their bit mask (an
//                unsigned integer); Time as above.
//   --one-of N   GetResampledMuxData(H, F, count, N): raw integers; Time is
//                that of the sample returned (sample 1 + i x N of the normset
//                for N >= 2, whatever --first says).
//   --merge M    GetReducedMuxData(H, F, count, M, Q) (Q from --request,
//                default 1): raw (max, min) pairs, every row of the array
//                (also the zero rows past the data); Time = StartTime +
//                (F - 1 + i x M x Q) x XStep.
// The arguments go to the function as given: a bad normset or count gives
// the function's own status, reported as one error line.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tools/krf/command.h"
#include "tools/krf/command_support.h"
#include "tools/krf/data_output.h"
#include "tools/krf/recording_view.h"

namespace {

using mlr::ComPtr;

enum class Mode { kRaw, kScaled, kOneOf, kMerge };

struct Options {
  std::string file;
  LONG group = 0;
  LONG hnorm = 1;
  LONG first = 1;
  LONG count = 0x7FFFFFFF;
  LONG reduction = 1;
  std::vector<LONG> channels;
  bool scaled = false;
  bool one_of_given = false;
  LONG one_of = 0;
  bool merge_given = false;
  LONG merge = 0;
  LONG request = 1;

  Mode mode() const {
    if (scaled) return Mode::kScaled;
    if (one_of_given) return Mode::kOneOf;
    if (merge_given) return Mode::kMerge;
    return Mode::kRaw;
  }
};

// The selected channels of a group, their names and event flags, and the
// selection array the data functions take.
struct Selection {
  std::vector<ComPtr<IChannelInfo>> channels;
  std::vector<std::string> names;
  std::vector<bool> event;
  SAFEARRAY* array = nullptr;
  ~Selection() {
    if (array) SafeArrayDestroy(array);
  }
};

int Select(const Options& o, IChannelGroup* group, Selection* s) {
  ComPtr<IChannelInfos> infos;
  LONG available = 0;
  if (SUCCEEDED(group->get_ChannelInfos(infos.put())) && infos) infos->get_Count(&available);
  std::vector<LONG> wanted = o.channels;
  if (wanted.empty()) {
    for (LONG i = 1; i <= available; ++i) wanted.push_back(i);
  }
  for (LONG c : wanted) {
    ComPtr<IChannelInfo> info;
    if (infos) infos->get_Item(c, info.put());
    if (!info) {
      return krf::ReportError(o.file, "no channel " + std::to_string(c) + " in group " +
                                          std::to_string(o.group),
                              E_INVALIDARG);
    }
    const std::string text = krf::ChannelName(info.get());
    VARIANT_BOOL event = VARIANT_FALSE;
    info->get_EventChannel(&event);
    s->names.push_back(text.empty() ? "Channel " + std::to_string(c) : text);
    s->event.push_back(event != VARIANT_FALSE);
    s->channels.push_back(info);
  }
  if (s->channels.empty()) return krf::ReportError(o.file, "the group has no channels", E_INVALIDARG);
  s->array = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(s->channels.size()));
  if (!s->array) return krf::ReportError(o.file, "out of memory", E_OUTOFMEMORY);
  for (LONG i = 0; i < static_cast<LONG>(s->channels.size()); ++i) {
    SafeArrayPutElement(s->array, &i,
                        static_cast<IDispatch*>(s->channels[static_cast<size_t>(i)].get()));
  }
  return 0;
}

// The number of frames (last dimension) and values per frame of a result.
void Shape(SAFEARRAY* result, size_t* frames, size_t* width) {
  const UINT dims = SafeArrayGetDim(result);
  LONG lo = 0, hi = -1;
  SafeArrayGetLBound(result, dims, &lo);
  SafeArrayGetUBound(result, dims, &hi);
  *frames = hi >= lo ? static_cast<size_t>(hi - lo + 1) : 0;
  *width = 1;
  if (dims == 2) {
    SafeArrayGetLBound(result, 1, &lo);
    SafeArrayGetUBound(result, 1, &hi);
    *width = hi >= lo ? static_cast<size_t>(hi - lo + 1) : 0;
  }
}

std::string Header(const Selection& s, bool pairs) {
  std::string line = "Time";
  for (const std::string& n : s.names) line += pairs ? "," + n + " max," + n + " min" : "," + n;
  return line;
}

// One value of the result as text: raw integers as they stand; scaled
// doubles so that they read back exactly, event words as unsigned masks.
std::string Cell(const void* data, size_t at, Mode mode, bool event) {
  if (mode != Mode::kScaled) return std::to_string(static_cast<const SHORT*>(data)[at]);
  const double value = static_cast<const double*>(data)[at];
  if (!event) return krf::RoundTrip(value);
  uint16_t word = 0;
  std::memcpy(&word, &value, sizeof word);
  return std::to_string(word);
}

int Run(const Options& o) {
  ComPtr<IRecording> recording;
  int status = 0;
  if (!krf::OpenOrReport(o.file, &recording, &status)) return status;
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelGroup> group;
  HRESULT hr = recording->get_ChannelGroups(groups.put());
  if (SUCCEEDED(hr) && groups) hr = groups->get_Item(o.group, group.put());
  if (FAILED(hr) || !group) {
    return krf::ReportError(o.file, "no channel group " + std::to_string(o.group),
                            FAILED(hr) ? hr : E_INVALIDARG);
  }
  const Mode mode = o.mode();
  ComPtr<IHNorms> hnorms;
  ComPtr<IHNorm> hnorm;
  hr = group->get_HNorms(hnorms.put());
  if (SUCCEEDED(hr) && hnorms) hr = hnorms->get_Item(o.hnorm, hnorm.put());
  // The raw read checks the normset itself; the data functions answer for
  // a bad one with their own status.
  if (mode == Mode::kRaw && (FAILED(hr) || !hnorm)) {
    return krf::ReportError(o.file, "no normset " + std::to_string(o.hnorm) + " in group " +
                                        std::to_string(o.group),
                            FAILED(hr) ? hr : E_INVALIDARG);
  }
  Selection s;
  if ((status = Select(o, group.get(), &s)) != 0) return status;

  SAFEARRAY* result = nullptr;
  const char* function = "GetMuxData";
  switch (mode) {
    case Mode::kRaw:
      hr = group->GetMuxData(&s.array, o.hnorm, o.first, o.count, o.reduction, &result);
      break;
    case Mode::kScaled:
      function = "GetScaledMuxData";
      hr = GetScaledMuxData(group.get(), &s.array, o.hnorm, o.first, o.count, o.reduction, &result);
      break;
    case Mode::kOneOf:
      function = "GetResampledMuxData";
      hr = GetResampledMuxData(group.get(), &s.array, o.hnorm, o.first, o.count, o.one_of, &result);
      break;
    case Mode::kMerge:
      function = "GetReducedMuxData";
      hr = GetReducedMuxData(group.get(), &s.array, o.hnorm, o.first, o.count, o.merge, o.request,
                             &result);
      break;
  }
  if (FAILED(hr)) {
    return krf::ReportError(o.file, krf::WithErrorText(std::string(function) + " failed"), hr);
  }

  double start = 0, step = 0;
  if (hnorm) {
    hnorm->get_StartTime(&start);
    hnorm->get_XStep(&step);
  }
  size_t frames = 0, width = 0;
  if (result) Shape(result, &frames, &width);
  const bool pairs = result ? width == s.channels.size() * 2 : mode == Mode::kMerge;
  std::printf("%s\n", Header(s, pairs).c_str());
  // Sample (0-based in the normset) of row i: first + i x per_row.
  double first = o.first - 1.0;
  double per_row = o.reduction;
  if (mode == Mode::kOneOf) {
    per_row = o.one_of;
    if (o.one_of >= 2) first = 0.0;
  } else if (mode == Mode::kMerge) {
    per_row = static_cast<double>(o.merge) * o.request;
  }
  void* raw = nullptr;
  if (result && SUCCEEDED(SafeArrayAccessData(result, &raw))) {
    const size_t per_channel = pairs ? 2 : 1;
    for (size_t i = 0; i < frames; ++i) {
      std::string line = krf::RoundTrip(start + (first + static_cast<double>(i) * per_row) * step);
      for (size_t k = 0; k < width; ++k) {
        line += "," + Cell(raw, i * width + k, mode, s.event[k / per_channel]);
      }
      std::printf("%s\n", line.c_str());
    }
    SafeArrayUnaccessData(result);
  }
  if (result) SafeArrayDestroy(result);
  return 0;
}

const krf::Registrar kData("data", "Print a group's frames as CSV (opens read-only)",
                           [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("FILE", o->file, "recording file")->required();
  app.add_option("--group", o->group, "channel group (1-based)")->required();
  app.add_option("--hnorm", o->hnorm, "horizontal normset (1-based, default 1)");
  app.add_option("--first", o->first, "first sample (1-based, default 1)");
  app.add_option("--count", o->count, "number of items (default: to the end of the normset)");
  app.add_option("--reduction", o->reduction, "frames per item (default 1)");
  app.add_option("--channel", o->channels, "channel of the group (1-based; repeatable)");
  auto* scaled = app.add_flag("--scaled", o->scaled, "technical values (GetScaledMuxData)");
  auto* one_of = app.add_option("--one-of", o->one_of, "one frame out of N (GetResampledMuxData)");
  auto* merge = app.add_option("--merge", o->merge,
                               "frames merged per row (GetReducedMuxData, with --request)");
  app.add_option("--request", o->request, "reduction read for --merge (default 1)")->needs(merge);
  scaled->excludes(one_of)->excludes(merge);
  one_of->excludes(merge);
  return krf::WithCom([o, one_of, merge]() {
    o->one_of_given = one_of->count() > 0;
    o->merge_given = merge->count() > 0;
    return Run(*o);
  });
});

}  // namespace
