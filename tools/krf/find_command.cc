// krf find FILE --collection markers|bookmarks|voicemarks|triggers --time T
// --direction D: the item FindItemFromTimeCollection returns (D < 0: the one
// before T, 0: the one at T, > 0: the one after T), as CSV "Index,Time" and
// one row, or the header alone when it returns none. Opens read-only.
#include <cstdio>
#include <memory>
#include <string>

#include "tools/krf/collection_option.h"
#include "tools/krf/command.h"
#include "tools/krf/command_support.h"
#include "tools/krf/recording_view.h"

namespace {

using mlr::ComPtr;

struct Options {
  std::string file;
  LONG collection = 0;
  double time = 0.0;
  LONG direction = 0;
};

int Run(const Options& o) {
  ComPtr<IRecording> recording;
  int exit_status = 0;
  if (!krf::OpenOrReport(o.file, &recording, &exit_status)) return exit_status;
  ComPtr<IUnknown> item;
  const HRESULT hr = FindItemFromTimeCollection(
      recording.get(), static_cast<kalRecordingCollection>(o.collection), o.time, o.direction,
      item.put());
  if (FAILED(hr)) return krf::ReportError(o.file, "FindItemFromTimeCollection failed", hr);
  std::printf("Index,Time\n");
  if (!item) return 0;
  // Every event item answers ITimemark; a bookmark answers IBookmark too.
  ComPtr<ITimemark> mark;
  ComPtr<IBookmark> bookmark;
  LONG index = 0;
  double time = 0.0;
  if (SUCCEEDED(item.As(&mark)) && mark) {
    mark->get_Index(&index);
    mark->get_Time(&time);
    std::printf("%d,%s\n", static_cast<int>(index), krf::RoundTrip(time).c_str());
  } else if (SUCCEEDED(item.As(&bookmark)) && bookmark) {
    bookmark->get_Time(&time);
    std::printf(",%s\n", krf::RoundTrip(time).c_str());
  }
  return 0;
}

const krf::Registrar kFind("find",
                           "Print the event at, after or before a time (opens read-only)",
                           [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("FILE", o->file, "recording file")->required();
  krf::AddCollectionOption(app, &o->collection);
  app.add_option("--time", o->time, "seconds since the recording's start")->required();
  app.add_option("--direction", o->direction, "-1 before, 0 at, 1 after the time")->required();
  return krf::WithCom([o]() { return Run(*o); });
});

}  // namespace
