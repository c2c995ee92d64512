#include "python/src/com_object.h"

#include <utility>
#include <vector>

#include "LegacyRecording.h"
#include "platform/strings.h"
#include "python/src/status_error.h"
#include "python/src/variant_convert.h"

namespace py = pybind11;

namespace movalegacy {
namespace {

// Interfaces reported by ComObject::InterfaceName, most derived first (an
// IMarker also answers ITimemark).
struct NamedIid {
  const IID* iid;
  const char* name;
};
const NamedIid kInterfaces[] = {
    {&IID_IRecording, "IRecording"},
    {&IID_IChannelGroups, "IChannelGroups"},
    {&IID_IChannelGroup, "IChannelGroup"},
    {&IID_IChannelInfos, "IChannelInfos"},
    {&IID_IChannelInfo, "IChannelInfo"},
    {&IID_IHNorms, "IHNorms"},
    {&IID_IHNorm, "IHNorm"},
    {&IID_IVNorms, "IVNorms"},
    {&IID_IVNorm, "IVNorm"},
    {&IID_IVoiceMark, "IVoiceMark"},
    {&IID_IVoiceMarks, "IVoiceMarks"},
    {&IID_ITriggerInfo, "ITriggerInfo"},
    {&IID_ITriggerInfos, "ITriggerInfos"},
    {&IID_IMarker, "IMarker"},
    {&IID_IMarkers, "IMarkers"},
    {&IID_IBookmark, "IBookmark"},
    {&IID_IBookmarks, "IBookmarks"},
    {&IID_ITimemark, "ITimemark"},
    {&IID_ITimemarks, "ITimemarks"},
    {&IID_IPhysicalChannel, "IPhysicalChannel"},
    {&IID_IPhysicalChannels, "IPhysicalChannels"},
    {&IID_IDisplayPage, "IDisplayPage"},
    {&IID_IDisplayPages, "IDisplayPages"},
    {&IID_IKrfLoader, "IKrfLoader"},
    {&IID_ISaveRecordingProgress, "ISaveRecordingProgress"},
    {&IID_IChannelResampler, "IChannelResampler"},
};

// The dispatch identifier of `name`; raises AttributeError when the object
// has no member of that name.
DISPID DispidOf(IDispatch* object, const std::string& name) {
  std::u16string wide = mlr::ToUtf16(name.c_str());
  LPOLESTR names[] = {wide.data()};
  DISPID dispid = DISPID_UNKNOWN;
  if (FAILED(object->GetIDsOfNames(IID_NULL, names, 1, 0, &dispid))) {
    throw py::attribute_error("the object has no member " + name);
  }
  return dispid;
}

// Calls member `dispid` through IDispatch::Invoke with `args` (Ref arguments
// by reference), updates the Ref values and leaves the result in *result.
void InvokeRaw(const ComObject& self, DISPID dispid, const std::string& name, WORD flags,
               py::tuple args, VARIANT* result) {
  // A reference of our own: another thread may close the session while the
  // call runs without the GIL.
  const mlr::ComPtr<IDispatch> object(self.get());
  const size_t n = args.size();
  VariantList values(n);  // reversed: rgvarg[0] is the last argument
  VariantList referenced(n);
  std::vector<std::pair<size_t, Ref*>> refs;
  for (size_t i = 0; i < n; ++i) {
    py::handle arg = args[i];
    VARIANT& slot = values[n - 1 - i];
    if (py::isinstance<Ref>(arg)) {
      Ref& ref = arg.cast<Ref&>();
      ToVariant(ref.value, &referenced[i]);
      slot.vt = VT_BYREF | VT_VARIANT;
      slot.pvarVal = &referenced[i];
      refs.emplace_back(i, &ref);
    } else {
      ToVariant(arg, &slot);
    }
  }
  DISPID put_id = DISPID_PROPERTYPUT;
  DISPPARAMS params{values.data(), nullptr, static_cast<UINT>(n), 0};
  if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
    params.rgdispidNamedArgs = &put_id;
    params.cNamedArgs = 1;
  }
  EXCEPINFO exception{};
  UINT bad_arg = 0;
  ClearErrorInfo();
  HRESULT hr;
  {
    py::gil_scoped_release unlocked;
    hr = object->Invoke(dispid, IID_NULL, 0, flags, &params, result, &exception, &bad_arg);
  }
  if (hr == DISP_E_EXCEPTION) {
    const std::string text = mlr::ToUtf8(exception.bstrDescription);
    const HRESULT status = exception.scode ? exception.scode : hr;
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    RaiseStatus(status, name, text);
  }
  if (hr == DISP_E_TYPEMISMATCH || hr == DISP_E_OVERFLOW) {
    RaiseStatus(hr, name, "argument " + std::to_string(n - bad_arg) + " has the wrong type");
  }
  RaiseIfFailed(hr, name);
  for (auto& [index, ref] : refs) ref->value = TakeVariant(&referenced[index], self.session());
}

py::object InvokeDispid(const ComObject& self, DISPID dispid, const std::string& name, WORD flags,
                        py::tuple args) {
  VariantList result(1);
  InvokeRaw(self, dispid, name, flags, args, &result[0]);
  return TakeVariant(&result[0], self.session());
}

// The items of a collection, through its enumerator (_NewEnum).
py::list Enumerate(const ComObject& self) {
  VariantList result(1);
  InvokeRaw(self, DISPID_NEWENUM, "_NewEnum", DISPATCH_METHOD | DISPATCH_PROPERTYGET, py::tuple(),
            &result[0]);
  mlr::ComPtr<IEnumVARIANT> enumerator;
  if ((result[0].vt == VT_UNKNOWN || result[0].vt == VT_DISPATCH) && result[0].punkVal) {
    result[0].punkVal->QueryInterface(IID_IEnumVARIANT, enumerator.put_void());
  }
  if (!enumerator) throw py::type_error("the object is not a collection");
  py::list items;
  for (;;) {
    VariantList item(1);
    ULONG fetched = 0;
    const HRESULT hr = enumerator->Next(1, &item[0], &fetched);
    RaiseIfFailed(hr, "enumerate a collection");
    if (fetched == 0) break;
    items.append(TakeVariant(&item[0], self.session()));
  }
  return items;
}

}  // namespace

void Session::Close() {
  closed_ = true;
  // Releasing may destroy objects that unregister themselves: work on a copy.
  std::vector<ComObject*> objects(objects_.begin(), objects_.end());
  objects_.clear();
  for (ComObject* object : objects) object->Release();
}

ComObject::ComObject(IDispatch* object, std::shared_ptr<Session> session)
    : object_(object), session_(std::move(session)) {
  if (session_) session_->Add(this);
}

ComObject::~ComObject() {
  if (session_) session_->Remove(this);
}

IDispatch* ComObject::get() const {
  if (session_ && session_->closed()) throw py::value_error("the recording is closed");
  if (!object_) throw py::value_error("the object has been released");
  return object_.get();
}

std::string ComObject::InterfaceName() const {
  for (const NamedIid& entry : kInterfaces) {
    mlr::ComPtr<IUnknown> probe;
    if (SUCCEEDED(get()->QueryInterface(*entry.iid, probe.put_void())) && probe) return entry.name;
  }
  mlr::ComPtr<IEnumVARIANT> enumerator;
  if (SUCCEEDED(get()->QueryInterface(IID_IEnumVARIANT, enumerator.put_void()))) {
    return "IEnumVARIANT";
  }
  return std::string();
}

uintptr_t ComObject::Identity() const {
  mlr::ComPtr<IUnknown> unknown;
  get()->QueryInterface(IID_IUnknown, unknown.put_void());
  return reinterpret_cast<uintptr_t>(unknown.get());
}

py::object Wrap(IUnknown* object, const std::shared_ptr<Session>& session) {
  if (!object) return py::none();
  mlr::ComPtr<IDispatch> dispatch;
  if (FAILED(object->QueryInterface(IID_IDispatch, dispatch.put_void())) || !dispatch) {
    throw py::type_error("the library returned an object without late binding (IDispatch)");
  }
  return py::cast(std::make_unique<ComObject>(dispatch.get(), session));
}

void RegisterComObject(py::module_& m) {
  py::class_<Session, std::shared_ptr<Session>>(m, "Session",
                                                "The objects reached from one opened recording.")
      .def_property_readonly("closed", &Session::closed)
      .def("close", &Session::Close,
           "Releases every object of the recording; later use raises ValueError.");

  py::class_<Ref>(m, "Ref",
                  "A by-reference argument of a late-bound call: `value` goes in, and the "
                  "member's [out] value is stored back into it.")
      .def(py::init<>())
      .def(py::init([](py::object value) { return Ref{std::move(value)}; }), py::arg("value"))
      .def_readwrite("value", &Ref::value)
      .def("__repr__", [](const Ref& r) { return "Ref(" + py::repr(r.value).cast<std::string>() + ")"; });

  py::class_<ComObject>(m, "Object", "One reference to an object of the library.")
      .def("has", [](const ComObject& self, const std::string& name) {
        try {
          DispidOf(self.get(), name);
          return true;
        } catch (const py::attribute_error&) {
          return false;
        }
      }, py::arg("name"), "Whether the object has a member of that name.")
      .def("invoke",
           [](const ComObject& self, const std::string& name, WORD flags, py::tuple args) {
             return InvokeDispid(self, DispidOf(self.get(), name), name, flags, args);
           },
           py::arg("name"), py::arg("flags"), py::arg("args"),
           "Calls a member by name through IDispatch::Invoke (flags: DISPATCH_*).")
      .def("items", &Enumerate, "The items of a collection, through its enumerator.")
      .def("release", &ComObject::Release,
           "Drops this handle's reference now; later use raises ValueError.")
      .def_property_readonly("interface", &ComObject::InterfaceName)
      .def_property_readonly("identity", &ComObject::Identity)
      .def_property_readonly("session", &ComObject::session);

  m.attr("DISPATCH_METHOD") = DISPATCH_METHOD;
  m.attr("DISPATCH_PROPERTYGET") = DISPATCH_PROPERTYGET;
  m.attr("DISPATCH_PROPERTYPUT") = DISPATCH_PROPERTYPUT;
  m.attr("DISP_E_MEMBERNOTFOUND") = static_cast<uint32_t>(DISP_E_MEMBERNOTFOUND);
  m.attr("DISP_E_BADPARAMCOUNT") = static_cast<uint32_t>(DISP_E_BADPARAMCOUNT);
  m.attr("DISP_E_PARAMNOTOPTIONAL") = static_cast<uint32_t>(DISP_E_PARAMNOTOPTIONAL);
}

}  // namespace movalegacy
