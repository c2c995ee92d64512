// krf data FILE --group G [--hnorm H] [--first F] [--count N] [--reduction R]
// [--channel C]...: the frames GetMuxData returns, as CSV with a Time column
// (StartTime + (F - 1 + i * R) * XStep of the normset) and one column per
// channel, two ("<name> max", "<name> min") for a reduced read. Raw integers.
// Opens read-only.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/krf/command.h"
#include "tools/krf/recording_view.h"

namespace {

using mlr::ComPtr;

struct Options {
  std::string file;
  LONG group = 0;
  LONG hnorm = 1;
  LONG first = 1;
  LONG count = 0x7FFFFFFF;
  LONG reduction = 1;
  std::vector<LONG> channels;
};

int Run(const Options& o) {
  ComPtr<IRecording> recording;
  krf::OpenError error;
  if (!krf::OpenForInspection(o.file, &recording, &error)) {
    return krf::ReportError(o.file, error.message, error.status);
  }
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelGroup> group;
  HRESULT hr = recording->get_ChannelGroups(groups.put());
  if (SUCCEEDED(hr) && groups) hr = groups->get_Item(o.group, group.put());
  if (FAILED(hr) || !group) {
    return krf::ReportError(o.file, "no channel group " + std::to_string(o.group),
                            FAILED(hr) ? hr : E_INVALIDARG);
  }
  ComPtr<IHNorms> hnorms;
  ComPtr<IHNorm> hnorm;
  hr = group->get_HNorms(hnorms.put());
  if (SUCCEEDED(hr) && hnorms) hr = hnorms->get_Item(o.hnorm, hnorm.put());
  if (FAILED(hr) || !hnorm) {
    return krf::ReportError(o.file, "no normset " + std::to_string(o.hnorm) + " in group " +
                                        std::to_string(o.group),
                            FAILED(hr) ? hr : E_INVALIDARG);
  }
  double start = 0, step = 0;
  hnorm->get_StartTime(&start);
  hnorm->get_XStep(&step);

  ComPtr<IChannelInfos> infos;
  LONG available = 0;
  if (SUCCEEDED(group->get_ChannelInfos(infos.put())) && infos) infos->get_Count(&available);
  std::vector<LONG> wanted = o.channels;
  if (wanted.empty()) {
    for (LONG i = 1; i <= available; ++i) wanted.push_back(i);
  }
  std::vector<ComPtr<IChannelInfo>> channels;
  std::vector<std::string> names;
  for (LONG c : wanted) {
    ComPtr<IChannelInfo> info;
    if (infos) infos->get_Item(c, info.put());
    if (!info) {
      return krf::ReportError(o.file, "no channel " + std::to_string(c) + " in group " +
                                          std::to_string(o.group),
                              E_INVALIDARG);
    }
    BSTR name = nullptr;
    VARIANT zero;
    VariantInit(&zero);
    zero.vt = VT_I4;
    zero.lVal = 0;
    info->get_Name(zero, &name);
    std::string text = krf::Utf8(name);
    SysFreeString(name);
    names.push_back(text.empty() ? "Channel " + std::to_string(c) : text);
    channels.push_back(info);
  }
  if (channels.empty()) return krf::ReportError(o.file, "the group has no channels", E_INVALIDARG);

  SAFEARRAY* list = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(channels.size()));
  if (!list) return krf::ReportError(o.file, "out of memory", E_OUTOFMEMORY);
  for (LONG i = 0; i < static_cast<LONG>(channels.size()); ++i) {
    SafeArrayPutElement(list, &i, static_cast<IDispatch*>(channels[static_cast<size_t>(i)].get()));
  }
  SAFEARRAY* result = nullptr;
  hr = group->GetMuxData(&list, o.hnorm, o.first, o.count, o.reduction, &result);
  SafeArrayDestroy(list);
  if (FAILED(hr) || !result) {
    return krf::ReportError(o.file, "GetMuxData failed", FAILED(hr) ? hr : E_FAIL);
  }
  const UINT dims = SafeArrayGetDim(result);
  LONG lo = 0, hi = -1;
  SafeArrayGetLBound(result, dims, &lo);
  SafeArrayGetUBound(result, dims, &hi);
  const size_t items = hi >= lo ? static_cast<size_t>(hi - lo + 1) : 0;
  size_t width = 1;
  if (dims == 2) {
    LONG l1 = 0, h1 = -1;
    SafeArrayGetLBound(result, 1, &l1);
    SafeArrayGetUBound(result, 1, &h1);
    width = h1 >= l1 ? static_cast<size_t>(h1 - l1 + 1) : 0;
  }
  const bool pairs = width == channels.size() * 2;
  std::string line = "Time";
  for (const std::string& n : names) line += pairs ? "," + n + " max," + n + " min" : "," + n;
  std::printf("%s\n", line.c_str());
  void* raw = nullptr;
  if (SUCCEEDED(SafeArrayAccessData(result, &raw))) {
    const SHORT* values = static_cast<const SHORT*>(raw);
    for (size_t i = 0; i < items; ++i) {
      const double t =
          start + (static_cast<double>(o.first) - 1 + static_cast<double>(i) * o.reduction) * step;
      line = krf::RoundTrip(t);
      for (size_t k = 0; k < width; ++k) line += "," + std::to_string(values[i * width + k]);
      std::printf("%s\n", line.c_str());
    }
    SafeArrayUnaccessData(result);
  }
  SafeArrayDestroy(result);
  return 0;
}

const krf::Registrar kData("data", "Print a group's raw frames as CSV (opens read-only)",
                           [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("FILE", o->file, "recording file")->required();
  app.add_option("--group", o->group, "channel group (1-based)")->required();
  app.add_option("--hnorm", o->hnorm, "horizontal normset (1-based, default 1)");
  app.add_option("--first", o->first, "first sample (1-based, default 1)");
  app.add_option("--count", o->count, "number of items (default: to the end of the normset)");
  app.add_option("--reduction", o->reduction, "frames per item (default 1)");
  app.add_option("--channel", o->channels, "channel of the group (1-based; repeatable)");
  return [o]() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const int status = Run(*o);
    CoUninitialize();
    return status;
  };
});

}  // namespace
