// krf events FILE --collection markers|bookmarks|voicemarks|triggers
// [--start S] [--end E] [--count N]: the times GetEventTimesFromCollection
// returns, one per line under a "Time" header. S and E default to the void
// number (the recording's start and end), N to the collection's Count.
// Opens read-only.
#include <cstdio>
#include <memory>
#include <string>

#include "api/void_number.h"
#include "tools/krf/collection_option.h"
#include "tools/krf/command.h"
#include "tools/krf/command_support.h"
#include "tools/krf/recording_view.h"

namespace {

using mlr::ComPtr;

struct Options {
  std::string file;
  LONG collection = 0;
  double start = 0.0;
  double end = 0.0;
  LONG count = 0;
  bool has_start = false, has_end = false, has_count = false;
};

// The Count of the collection a selector names; 0 when there is none.
LONG CollectionCount(IRecording* recording, LONG selector) {
  ComPtr<IUnknown> collection;
  LONG count = 0;
  if (FAILED(recording->get_Collection(static_cast<kalRecordingCollection>(selector),
                                       collection.put())) ||
      !collection) {
    return 0;
  }
  ComPtr<ITimemarks> marks;
  ComPtr<IBookmarks> bookmarks;
  if (SUCCEEDED(collection.As(&marks)) && marks) {
    marks->get_Count(&count);
  } else if (SUCCEEDED(collection.As(&bookmarks)) && bookmarks) {
    bookmarks->get_Count(&count);
  }
  return count;
}

int Run(const Options& o) {
  ComPtr<IRecording> recording;
  int exit_status = 0;
  if (!krf::OpenOrReport(o.file, &recording, &exit_status)) return exit_status;
  const LONG count = o.has_count ? o.count : CollectionCount(recording.get(), o.collection);
  SAFEARRAY* items = nullptr;
  const HRESULT hr = GetEventTimesFromCollection(
      recording.get(), static_cast<kalRecordingCollection>(o.collection),
      o.has_start ? o.start : mlr::VoidNumber(), o.has_end ? o.end : mlr::VoidNumber(), count, &items);
  if (FAILED(hr)) return krf::ReportError(o.file, "GetEventTimesFromCollection failed", hr);
  std::printf("Time\n");
  if (!items) return 0;
  LONG lower = 0, upper = -1;
  SafeArrayGetLBound(items, 1, &lower);
  SafeArrayGetUBound(items, 1, &upper);
  void* data = nullptr;
  if (SUCCEEDED(SafeArrayAccessData(items, &data))) {
    const double* times = static_cast<const double*>(data);
    for (LONG i = 0; i <= upper - lower; ++i) std::printf("%s\n", krf::RoundTrip(times[i]).c_str());
    SafeArrayUnaccessData(items);
  }
  SafeArrayDestroy(items);
  return 0;
}

const krf::Registrar kEvents("events",
                             "Print the times of a collection's events in a time range (opens "
                             "read-only)",
                             [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("FILE", o->file, "recording file")->required();
  krf::AddCollectionOption(app, &o->collection);
  app.add_option("--start", o->start, "from this time (default: the recording's start)")
      ->each([o](const std::string&) { o->has_start = true; });
  app.add_option("--end", o->end, "to this time (default: the recording's end)")
      ->each([o](const std::string&) { o->has_end = true; });
  app.add_option("--count", o->count, "at most this many events (default: the collection's Count)")
      ->each([o](const std::string&) { o->has_count = true; });
  return krf::WithCom([o]() { return Run(*o); });
});

}  // namespace
