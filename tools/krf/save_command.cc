// krf save TARGET SOURCE... [--channel S:G:C]... [--start T] [--end T]
// [--skip-reduced] [--no-align] [--triggered-segment] [--kss]: saves a
// selection of the sources' channels with SaveRecording.
//
// S is the 1-based position of the source among those named, G the group and
// C the channel (1-based); without --channel every channel of every group of
// every source is saved. The times default to the first source's StartTime
// and EndTime. Sources are opened read-only.
//
// While the save runs: on a terminal, a progress bar on standard error
// (status, completion, time left, bytes); otherwise one line per status
// change. Ctrl-C calls Abort, waits until the save has ended (the target is
// deleted) and exits with 130; an interrupt that comes after the save had
// already ended keeps the finished file and exits with 0. A failed save
// prints its ErrorCode in hex with its name and exits with 1.
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/strings.h"
#include "tools/krf/command.h"
#include "tools/krf/fail.h"
#include "tools/krf/recording_view.h"

namespace {

using mlr::ComPtr;

volatile std::sig_atomic_t g_interrupted = 0;

void OnInterrupt(int) { g_interrupted = 1; }

struct Options {
  std::string target;
  std::vector<std::string> sources;
  std::vector<std::string> channels;  // S:G:C
  double start = 0.0, end = 0.0;
  bool has_start = false, has_end = false;
  bool skip_reduced = false, no_align = false, triggered = false, kss = false;
};

const char* StatusName(LONG status) {
  switch (status) {
    case kalSRS_Initializing: return "initializing";
    case kalSRS_SavingInternals: return "saving internals";
    case kalSRS_SavingData: return "saving data";
    case kalSRS_SavingCollections: return "saving collections";
    case kalSRS_Closing: return "closing";
    case kalSRS_AllocatingDiskSpace: return "allocating disk space";
    case kalSRS_Ready: return "ready";
    case kalSRS_ErrorOccurred: return "error";
    case kalSRS_Aborting: return "aborting";
    case kalSRS_Aborted: return "aborted";
    default: return "?";
  }
}

ComPtr<IChannelInfo> ChannelAt(IRecording* recording, LONG group, LONG channel) {
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelGroup> g;
  ComPtr<IChannelInfos> infos;
  ComPtr<IChannelInfo> info;
  if (SUCCEEDED(recording->get_ChannelGroups(groups.put())) && groups &&
      SUCCEEDED(groups->get_Item(group, g.put())) && g &&
      SUCCEEDED(g->get_ChannelInfos(infos.put())) && infos) {
    infos->get_Item(channel, info.put());
  }
  return info;
}

// The channels to save, in order; false (after printing why) on a bad
// selection.
bool SelectChannels(const Options& o, const std::vector<ComPtr<IRecording>>& sources,
                    std::vector<ComPtr<IChannelInfo>>* out) {
  if (o.channels.empty()) {
    for (const auto& source : sources) {
      for (LONG g = 1;; ++g) {
        if (!ChannelAt(source.get(), g, 1)) {
          ComPtr<IChannelGroups> groups;
          LONG count = 0;
          source->get_ChannelGroups(groups.put());
          if (groups) groups->get_Count(&count);
          if (g > count) break;
          continue;  // a group without channels
        }
        for (LONG c = 1; ComPtr<IChannelInfo> info = ChannelAt(source.get(), g, c); ++c)
          out->push_back(info);
      }
    }
    return true;
  }
  for (const std::string& spec : o.channels) {
    LONG s = 0, g = 0, c = 0;
    char colon1 = 0, colon2 = 0;
    std::istringstream in(spec);
    in >> s >> colon1 >> g >> colon2 >> c;
    ComPtr<IChannelInfo> info;
    if (in && in.peek() == EOF && colon1 == ':' && colon2 == ':' && s >= 1 &&
        static_cast<size_t>(s) <= sources.size()) {
      info = ChannelAt(sources[static_cast<size_t>(s - 1)].get(), g, c);
    }
    if (!info) {
      krf::Fail("save: no channel " + spec + " (SOURCE:GROUP:CHANNEL)", E_INVALIDARG);
      return false;
    }
    out->push_back(info);
  }
  return true;
}

class ProgressDisplay {
 public:
  explicit ProgressDisplay(bool terminal) : terminal_(terminal) {}

  void Show(ISaveRecordingProgress* progress) {
    kalSaveRecordingStatus status = kalSRS_Initializing;
    LONG completion = 0, left = 0, multiplier = 1, processed = 0, size = 0;
    progress->get_Status(&status);
    if (!terminal_) {
      if (status != last_) std::fprintf(stderr, "krf save: %s\n", StatusName(status));
      last_ = status;
      return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (status == last_ && now - drawn_ < std::chrono::milliseconds(100)) return;
    drawn_ = now;
    last_ = status;
    progress->get_Completion(&completion);
    progress->get_EstimatedTimeLeft(&left);
    progress->get_SizeMultiplier(&multiplier);
    progress->get_BytesProcessed(&processed);
    progress->get_EstimatedSize(&size);
    const double mib = 1024.0 * 1024.0;
    const double done = processed < 0 ? 0.0 : double(processed) * multiplier / mib;
    const double total = size < 0 ? 0.0 : double(size) * multiplier / mib;
    const int width = 30, filled = static_cast<int>(completion * width / 100);
    std::string bar(static_cast<size_t>(filled), '#');
    bar.append(static_cast<size_t>(width - filled), '-');
    std::fprintf(stderr, "\r[%s] %3ld%%  %-21s  %4lds left  %.1f / %.1f MiB ", bar.c_str(),
                 static_cast<long>(completion), StatusName(status), static_cast<long>(left), done,
                 total);
    std::fflush(stderr);
  }
  void End() {
    if (terminal_) std::fprintf(stderr, "\n");
  }

 private:
  bool terminal_;
  LONG last_ = -1;
  std::chrono::steady_clock::time_point drawn_{};
};

bool Exists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

int Run(const Options& o) {
  std::vector<ComPtr<IRecording>> sources;
  for (const std::string& path : o.sources) {
    ComPtr<IRecording> recording;
    krf::OpenError error;
    if (!krf::OpenForInspection(path, &recording, &error))
      return krf::ReportError(path, error.message, error.status);
    sources.push_back(recording);
  }
  std::vector<ComPtr<IChannelInfo>> channels;
  if (!SelectChannels(o, sources, &channels)) return 1;
  double start = o.start, end = o.end;
  if (!o.has_start) sources[0]->get_StartTime(&start);
  if (!o.has_end) sources[0]->get_EndTime(&end);
  LONG options = (o.skip_reduced ? kalSRF_SkipReducedStream : 0) |
                 (o.no_align ? kalSRF_SkipAbsoluteTimeAlign : 0) |
                 (o.triggered ? kalSRF_TriggeredSegmentOnly : 0) | (o.kss ? kalSRF_UseKSS : 0);

  SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(channels.size()));
  if (!array) return krf::Fail("save: out of memory", E_OUTOFMEMORY);
  for (LONG i = 0; i < static_cast<LONG>(channels.size()); ++i) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_DISPATCH;
    V_DISPATCH(&v) = channels[static_cast<size_t>(i)].get();
    SafeArrayPutElement(array, &i, &v);
  }
  BSTR name = SysAllocString(mlr::ToUtf16(o.target.c_str()).c_str());
  ComPtr<ISaveRecordingProgress> progress;
  std::signal(SIGINT, OnInterrupt);
  HRESULT hr = SaveRecording(name, &array, start, end, static_cast<kalSaveRecordingFlags>(options),
                             progress.put());
  SysFreeString(name);
  SafeArrayDestroy(array);
  if (FAILED(hr)) return krf::Fail("save " + o.target, hr);

  ProgressDisplay display(isatty(fileno(stderr)) != 0);
  bool aborted = false;
  kalSaveRecordingStatus status = kalSRS_Initializing;
  for (;;) {
    if (g_interrupted && !aborted) {
      progress->Abort();
      aborted = true;
    }
    display.Show(progress.get());
    LONG completion = 0;
    progress->get_Status(&status);
    progress->get_Completion(&completion);
    // Ready ends every save; after a failure the status stays ErrorOccurred
    // and the end shows as the finished group list (Completion 100, which
    // an abort hides).
    if (status == kalSRS_Ready || (status == kalSRS_ErrorOccurred && (completion == 100 || aborted)))
      break;
    // Polled often enough to see short states; the bar redraws at most
    // every 100 ms.
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  display.End();
  LONG error = 0;
  progress->get_ErrorCode(&error);
  progress = nullptr;  // the save's thread closes (or deletes) the target now
  if (aborted) {
    if (status == kalSRS_Ready) {
      // Releasing a finished save has closed and stamped its target, or
      // deleted it: a target still there was complete before the abort.
      if (Exists(o.target)) {
        std::fprintf(stderr, "krf save: the save had ended before the interrupt\n");
        return 0;
      }
    } else {
      // After a failure during the abort the thread may still be tidying
      // up: it deletes the target when it ends.
      for (int i = 0; i < 300 && Exists(o.target); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    std::fprintf(stderr, "krf save: aborted\n");
    return 130;
  }
  if (FAILED(error)) return krf::Fail("save " + o.target, error);
  return 0;
}

const krf::Registrar kSave("save", "Save a selection of channels into a new recording file",
                           [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("TARGET", o->target, "recording file to create")->required();
  app.add_option("SOURCE", o->sources, "recordings to take channels from")->required();
  app.add_option("--channel", o->channels,
                 "SOURCE:GROUP:CHANNEL, 1-based (repeatable; default every channel)");
  app.add_option("--start", o->start, "start of the span (default: the first source's start)")
      ->each([o](const std::string&) { o->has_start = true; });
  app.add_option("--end", o->end, "end of the span (default: the first source's end)")
      ->each([o](const std::string&) { o->has_end = true; });
  app.add_flag("--skip-reduced", o->skip_reduced, "do not write the reduced stream");
  app.add_flag("--no-align", o->no_align, "do not align recordings on their UTC start");
  app.add_flag("--triggered-segment", o->triggered,
               "save the segment holding the start time, whole");
  app.add_flag("--kss", o->kss, "create the file through the KSS storage provider");
  return [o]() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const int status = Run(*o);
    CoUninitialize();
    return status;
  };
});

}  // namespace
