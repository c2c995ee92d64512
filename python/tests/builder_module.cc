// _movalegacy_testing: the project's recording builder (testing/), for the
// pytest suite only (never installed). A recording is described by a dict:
//
//   {"groups": [{"channels": [{"name": "P", "unit": "bar", "event": False,
//                              "bits": ["b1", ...],
//                              "scalings": [(start, y0, ystep), ...]}, ...],
//                "normsets": [(start, step), ...],
//                "segments": [int16 array of frames x channels, ...],
//                "reduction": 10}, ...],
//    "markers": [time, ...], "bookmarks": [(time, text), ...],
//    "comment": "...", "year": 2004, "day": 132, "time_of_day": 36000.5}
//
// Each segment gives the frames of one normset (its length is the number of
// frames); channel and group numbers are their positions, from 1.
//
// For the benchmark bench/movalegacy_bench.py: write_large (a recording of
// any size, written block by block; testing/large_recording.h) and
// time_scaled_read (GetScaledMuxData called from C++ on its whole group).
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <chrono>
#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "reader/krf_loader.h"
#include "testing/large_recording.h"

#include "platform/strings.h"
#include "testing/krf_writer.h"

namespace py = pybind11;
using namespace mlr::testing;

namespace {

std::u16string Wide(const py::handle& text) { return mlr::ToUtf16(text.cast<std::string>().c_str()); }

template <class T>
T Get(const py::dict& d, const char* key, T fallback) {
  return d.contains(key) ? d[key].cast<T>() : fallback;
}

ChannelSpec ChannelFrom(const py::dict& d, uint32_t number) {
  ChannelSpec c;
  c.number = number;
  c.name = d.contains("name") ? Wide(d["name"]) : u"";
  c.unit = d.contains("unit") ? Wide(d["unit"]) : u"";
  c.event = Get<bool>(d, "event", false);
  if (d.contains("bits")) {
    for (py::handle bit : d["bits"]) c.bits.push_back(Wide(bit));
  }
  if (d.contains("scalings")) {
    for (py::handle row : d["scalings"]) {
      auto [start, y0, step] = row.cast<std::tuple<double, double, double>>();
      c.vnorms.push_back({start, y0, step});
    }
  } else if (!c.event) {
    c.vnorms.push_back({0.0, 0.0, 1.0});
  }
  return c;
}

GroupSpec GroupFrom(const py::dict& d, uint32_t number) {
  GroupSpec g;
  g.number = number;
  uint32_t channel = 0;
  for (py::handle c : d["channels"]) g.channels.push_back(ChannelFrom(c.cast<py::dict>(), ++channel));
  for (py::handle row : d["normsets"]) {
    auto [start, step] = row.cast<std::tuple<double, double>>();
    g.hnorms.push_back({start, step, 0});
  }
  for (py::handle segment : d["segments"]) {
    auto frames = py::array_t<int16_t, py::array::c_style | py::array::forcecast>::ensure(segment);
    if (!frames) throw py::type_error("a segment must be an array of int16 samples");
    g.segments.emplace_back(frames.data(), frames.data() + frames.size());
  }
  if (g.segments.size() != g.hnorms.size()) throw py::value_error("one segment per normset");
  g.reduction_factor = Get<uint32_t>(d, "reduction", 1);
  return g;
}

RecordingSpec RecordingFrom(const py::dict& d) {
  RecordingSpec r;
  r.year = Get<int32_t>(d, "year", r.year);
  r.day = Get<int32_t>(d, "day", r.day);
  r.time_of_day = Get<double>(d, "time_of_day", r.time_of_day);
  if (d.contains("comment")) r.comment = d["comment"].cast<std::string>();
  uint32_t number = 0;
  for (py::handle g : d["groups"]) r.groups.push_back(GroupFrom(g.cast<py::dict>(), ++number));
  if (d.contains("markers")) {
    for (py::handle t : d["markers"]) r.markers.push_back({t.cast<double>(), 1});
  }
  if (d.contains("bookmarks")) {
    for (py::handle row : d["bookmarks"]) {
      auto [time, text] = row.cast<std::tuple<double, std::string>>();
      r.bookmarks.push_back({time, mlr::ToUtf16(text.c_str())});
    }
  }
  return r;
}

void Check(HRESULT hr, const std::string& path) {
  if (FAILED(hr)) {
    throw std::runtime_error("cannot write " + path + ": status " + std::to_string(static_cast<uint32_t>(hr)));
  }
}

// Seconds per call of GetScaledMuxData on all channels and the whole first
// normset of group 1 of `path` (opened read-only), one entry per repetition.
std::vector<double> TimeScaledRead(const std::string& path, int repeat) {
  py::gil_scoped_release unlocked;
  mlr::ComPtr<IStorage> root;
  HRESULT hr = StgOpenStorage(WidePath(path).c_str(), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE,
                              nullptr, 0, root.put());
  mlr::ComPtr<IRecording> recording;
  if (SUCCEEDED(hr)) hr = mlr::reader::OpenRecordingOnStorage(root.get(), recording.put());
  mlr::ComPtr<IChannelGroups> groups;
  mlr::ComPtr<IChannelGroup> group;
  mlr::ComPtr<IChannelInfos> infos;
  mlr::ComPtr<IHNorms> hnorms;
  mlr::ComPtr<IHNorm> hnorm;
  if (SUCCEEDED(hr)) hr = recording->get_ChannelGroups(groups.put());
  if (SUCCEEDED(hr)) hr = groups->get_Item(1, group.put());
  if (SUCCEEDED(hr)) hr = group->get_ChannelInfos(infos.put());
  if (SUCCEEDED(hr)) hr = group->get_HNorms(hnorms.put());
  if (SUCCEEDED(hr)) hr = hnorms->get_Item(1, hnorm.put());
  LONG channels = 0, length = 0;
  if (SUCCEEDED(hr)) hr = infos->get_Count(&channels);
  if (SUCCEEDED(hr)) hr = hnorm->get_Length(&length);
  Check(hr, path);
  SAFEARRAY* selection = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(channels));
  for (LONG i = 0; i < channels; ++i) {
    mlr::ComPtr<IChannelInfo> info;
    infos->get_Item(i + 1, info.put());
    SafeArrayPutElement(selection, &i, static_cast<IDispatch*>(info.get()));
  }
  std::vector<double> seconds;
  for (int r = 0; r < repeat && SUCCEEDED(hr); ++r) {
    SAFEARRAY* result = nullptr;
    const auto start = std::chrono::steady_clock::now();
    hr = GetScaledMuxData(group.get(), &selection, 1, 1, length, 1, &result);
    seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (result) SafeArrayDestroy(result);
  }
  SafeArrayDestroy(selection);
  Check(hr, path);
  return seconds;
}

}  // namespace

PYBIND11_MODULE(_movalegacy_testing, m) {
  m.doc() = "The project's recording builder, for movalegacy's tests.";
  m.def("write_sample", [](const std::string& path) {
    Check(WriteRecordingFile(path, SampleRecording()), path);
  }, py::arg("path"), "Writes the bundled sample recording.");
  m.def("write_recording", [](const std::string& path, const py::dict& spec) {
    Check(WriteRecordingFile(path, RecordingFrom(spec)), path);
  }, py::arg("path"), py::arg("spec"), "Writes a recording described by a dict.");
  m.def("write_large", [](const std::string& path, uint32_t channels, uint32_t frames,
                          uint32_t reduction) {
    py::gil_scoped_release unlocked;
    Check(WriteLargeRecording(path, channels, frames, reduction), path);
  }, py::arg("path"), py::arg("channels"), py::arg("frames"), py::arg("reduction") = 1,
     "Writes one group of analog channels (sample LargeSample(frame, channel)), one normset.");
  m.def("time_scaled_read", &TimeScaledRead, py::arg("path"), py::arg("repeat") = 3,
        "Seconds per GetScaledMuxData call on the whole of group 1, called from C++.");
}
