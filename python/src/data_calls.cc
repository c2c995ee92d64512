#include "python/src/data_calls.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "model/live_objects.h"
#include "platform/com_ptr.h"
#include "platform/strings.h"
#include "python/src/com_object.h"
#include "python/src/safe_array.h"
#include "python/src/status_error.h"
#include "python/src/variant_convert.h"
#include "reader/krf_loader.h"
#include "server/module.h"

namespace py = pybind11;

namespace movalegacy {
namespace {

struct ArrayGuard {
  SAFEARRAY* array = nullptr;
  ~ArrayGuard() {
    if (array) SafeArrayDestroy(array);
  }
  SAFEARRAY* release() { return std::exchange(array, nullptr); }
};

HRESULT OpenReadOnly(const std::u16string& path, IRecording** recording) {
  mlr::ComPtr<IStorage> root;
  const HRESULT hr = StgOpenStorage(path.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ,
                                    nullptr, 0, root.put());
  if (FAILED(hr)) return hr;
  if (!root) return E_FAIL;
  return mlr::reader::OpenRecordingOnStorage(root.get(), recording);
}

HRESULT OpenWritable(const std::u16string& path, IRecording** recording) {
  mlr::ComPtr<IClassFactory> factory;
  HRESULT hr = DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory, factory.put_void());
  if (FAILED(hr)) return hr;
  mlr::ComPtr<IKrfLoader> loader;
  hr = factory->CreateInstance(nullptr, IID_IKrfLoader, loader.put_void());
  if (FAILED(hr)) return hr;
  mlr::Bstr name(path.c_str());
  return loader->OpenRecording(name.get(), recording);
}

py::object OpenRecording(const std::string& path, bool writable) {
  const std::u16string wide = mlr::ToUtf16(path.c_str());
  mlr::ComPtr<IRecording> recording;
  ClearErrorInfo();
  HRESULT hr;
  {
    py::gil_scoped_release unlocked;
    hr = writable ? OpenWritable(wide, recording.put()) : OpenReadOnly(wide, recording.put());
  }
  RaiseIfFailed(hr, "open " + path);
  if (!recording) RaiseStatus(E_FAIL, "open " + path, "no recording");
  return Wrap(recording.get(), std::make_shared<Session>());
}

// Replaces each event column's 16-bit word (stored in the two lowest-addressed
// bytes of the double) by its unsigned value.
void EventWordsToValues(double* data, size_t frames, size_t width, const std::vector<bool>& events) {
  for (size_t c = 0; c < width && c < events.size(); ++c) {
    if (!events[c]) continue;
    for (size_t i = 0; i < frames; ++i) {
      double* element = data + i * width + c;
      uint16_t word;
      std::memcpy(&word, element, sizeof word);
      *element = word;
    }
  }
}

py::object ReadFrames(const ComObject& group, const std::vector<ComObject*>& channels, LONG hnorm,
                      LONG first, LONG count, bool scaled, const std::vector<bool>& events) {
  mlr::ComPtr<IChannelGroup> g = group.As<IChannelGroup>("channel group");
  const size_t width = channels.size();
  ArrayGuard selection{ObjectArray(channels)};
  ArrayGuard result;
  ClearErrorInfo();
  HRESULT hr;
  {
    py::gil_scoped_release unlocked;
    hr = scaled ? g->GetScaledMuxData(&selection.array, hnorm, first, count, 1, &result.array)
                : g->GetMuxData(&selection.array, hnorm, first, count, 1, &result.array);
  }
  RaiseIfFailed(hr, scaled ? "GetScaledMuxData" : "GetMuxData");
  const py::dtype dtype = scaled ? py::dtype::of<double>() : py::dtype::of<int16_t>();
  if (!result.array) return py::array(dtype, std::vector<py::ssize_t>{0, py::ssize_t(width)});
  py::object holder = py::cast(std::make_unique<SafeArray>(result.release()));
  const SafeArray& array = holder.cast<const SafeArray&>();
  const VARTYPE expected = scaled ? VT_R8 : VT_I2;
  if (array.vartype() != expected) throw py::type_error("the library returned frames of another type");
  size_t elements = 1;
  for (py::ssize_t extent : array.shape()) elements *= static_cast<size_t>(extent);
  const size_t frames = width ? elements / width : 0;
  if (scaled) {
    py::gil_scoped_release unlocked;
    EventWordsToValues(static_cast<double*>(array.data()), frames, width, events);
  }
  const py::ssize_t item = static_cast<py::ssize_t>(array.element_size());
  return py::array(dtype, std::vector<py::ssize_t>{py::ssize_t(frames), py::ssize_t(width)},
                   std::vector<py::ssize_t>{item * py::ssize_t(width), item}, array.data(), holder);
}

py::object DisplayData(const ComObject& group, const ComObject& channel, double start, double end,
                       LONG points) {
  mlr::ComPtr<IChannelGroup> g = group.As<IChannelGroup>("channel group");
  mlr::ComPtr<IChannelInfo> c = channel.As<IChannelInfo>("channel");
  ArrayGuard result;
  ClearErrorInfo();
  HRESULT hr;
  {
    py::gil_scoped_release unlocked;
    hr = g->GetDisplayData(c.get(), start, end, points, &result.array);
  }
  RaiseIfFailed(hr, "GetDisplayData");
  if (!result.array) return py::array(py::dtype::of<float>(), std::vector<py::ssize_t>{0, 2});
  return ToPython(result.release(), group.session());
}

// The axis lives in memory of its own (malloc) rather than numpy's: numpy
// asks for transparent huge pages on large arrays, and on a busy machine the
// kernel then compacts memory on the first touch of each page, which cost
// more than the whole scaled read in measurements.
py::array_t<double> TimeAxis(double start, double step, int64_t first, int64_t count) {
  if (count < 0) throw py::value_error("a negative count");
  double* out = static_cast<double*>(std::malloc(static_cast<size_t>(count ? count : 1) * sizeof(double)));
  if (!out) throw std::bad_alloc();
  py::capsule owner(out, [](void* memory) { std::free(memory); });
  {
    py::gil_scoped_release unlocked;
    for (int64_t i = 0; i < count; ++i) out[i] = static_cast<double>(first + i) * step + start;
  }
  return py::array_t<double>(static_cast<py::ssize_t>(count), out, owner);
}

double ValueAt(const ComObject& channel, double time) {
  mlr::ComPtr<IChannelInfo> c = channel.As<IChannelInfo>("channel");
  double value = 0;
  ClearErrorInfo();
  HRESULT hr;
  {
    py::gil_scoped_release unlocked;
    hr = c->GetValueAtTime(time, &value);
  }
  RaiseIfFailed(hr, "GetValueAtTime");
  return value;
}

}  // namespace

void RegisterDataCalls(py::module_& m) {
  m.def("open_recording", &OpenRecording, py::arg("path"), py::arg("writable"));
  m.def("read_frames", &ReadFrames, py::arg("group"), py::arg("channels"), py::arg("hnorm"),
        py::arg("first"), py::arg("count"), py::arg("scaled"), py::arg("events"));
  m.def("display_data", &DisplayData, py::arg("group"), py::arg("channel"), py::arg("start"),
        py::arg("end"), py::arg("points"));
  m.def("time_axis", &TimeAxis, py::arg("start"), py::arg("step"), py::arg("first"),
        py::arg("count"));
  m.def("value_at", &ValueAt, py::arg("channel"), py::arg("time"));
  m.def("live_objects", [] { return mlr::model::LiveObjectCount(); },
        "Number of objects of the recording model alive in the process (for tests).");
}

}  // namespace movalegacy
