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
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>
#include <vector>

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

}  // namespace

PYBIND11_MODULE(_movalegacy_testing, m) {
  m.doc() = "The project's recording builder, for movalegacy's tests.";
  m.def("write_sample", [](const std::string& path) {
    Check(WriteRecordingFile(path, SampleRecording()), path);
  }, py::arg("path"), "Writes the bundled sample recording.");
  m.def("write_recording", [](const std::string& path, const py::dict& spec) {
    Check(WriteRecordingFile(path, RecordingFrom(spec)), path);
  }, py::arg("path"), py::arg("spec"), "Writes a recording described by a dict.");
}
