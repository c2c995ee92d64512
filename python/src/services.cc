#include "python/src/services.h"

#include <pybind11/stl.h>

#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/module.h"
#include "platform/strings.h"
#include "python/src/com_object.h"
#include "python/src/status_error.h"
#include "python/src/variant_convert.h"
#include "server/module.h"

namespace py = pybind11;

namespace movalegacy {
namespace {

py::object Create(const std::string& name) {
  const CLSID* clsid = nullptr;
  if (name == "KrfLoader") clsid = &CLSID_KrfLoader;
  if (name == "ChannelResampler") clsid = &CLSID_ChannelResampler;
  if (!clsid) throw py::value_error("no creatable class " + name);
  mlr::ComPtr<IClassFactory> factory;
  HRESULT hr = DllGetClassObject(*clsid, IID_IClassFactory, factory.put_void());
  mlr::ComPtr<IDispatch> object;
  if (SUCCEEDED(hr)) hr = factory->CreateInstance(nullptr, IID_IDispatch, object.put_void());
  RaiseIfFailed(hr, "create " + name);
  return Wrap(object.get(), nullptr);
}

py::object Save(const std::string& path, const std::vector<ComObject*>& channels, double start,
                double end, LONG options) {
  using SaveFunction = decltype(&::SaveRecording);
  const auto save = reinterpret_cast<SaveFunction>(
      reinterpret_cast<void (*)()>(GetProcAddress(mlr::ModuleHandle(), "SaveRecording")));
  if (!save) RaiseStatus(E_NOTIMPL, "save " + path, "SaveRecording is not in this build");
  SAFEARRAY* selection = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(channels.size()));
  if (!selection) throw std::bad_alloc();
  struct Destroy {
    SAFEARRAY* array;
    ~Destroy() { SafeArrayDestroy(array); }
  } guard{selection};
  for (size_t i = 0; i < channels.size(); ++i) {
    VariantList element(1);
    element[0].vt = VT_DISPATCH;
    element[0].pdispVal = channels[i]->get();
    element[0].pdispVal->AddRef();
    LONG index = static_cast<LONG>(i);
    SafeArrayPutElement(selection, &index, &element[0]);  // copies
  }
  mlr::Bstr name = mlr::Bstr::FromUtf8(path.c_str());
  mlr::ComPtr<ISaveRecordingProgress> progress;
  ClearErrorInfo();
  HRESULT hr;
  {
    py::gil_scoped_release unlocked;
    hr = save(name.get(), &selection, start, end, static_cast<kalSaveRecordingFlags>(options),
              progress.put());
  }
  RaiseIfFailed(hr, "save " + path);
  return Wrap(progress.get(), nullptr);
}

}  // namespace

void RegisterServices(py::module_& m) {
  m.def("create", &Create, py::arg("name"));
  m.def("status_name", [](int64_t status) { return StatusName(static_cast<HRESULT>(status)); },
        py::arg("status"), "The symbolic name of a status, or \"\".");
  m.def("save_recording", &Save, py::arg("path"), py::arg("channels"), py::arg("start"),
        py::arg("end"), py::arg("options"));
}

}  // namespace movalegacy
