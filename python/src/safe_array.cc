#include "python/src/safe_array.h"

#include <pybind11/numpy.h>

#include <cstdint>
#include <string>

#include "python/src/status_error.h"
#include "python/src/variant_convert.h"

namespace py = pybind11;

namespace movalegacy {
namespace {

// The buffer-protocol format of a numeric element type, or "" for types that
// have none.
std::string FormatOf(VARTYPE vt) {
  switch (vt) {
    case VT_I1: return py::format_descriptor<int8_t>::format();
    case VT_UI1: return py::format_descriptor<uint8_t>::format();
    case VT_I2:
    case VT_BOOL: return py::format_descriptor<int16_t>::format();
    case VT_UI2: return py::format_descriptor<uint16_t>::format();
    case VT_I4:
    case VT_INT:
    case VT_ERROR: return py::format_descriptor<int32_t>::format();
    case VT_UI4:
    case VT_UINT: return py::format_descriptor<uint32_t>::format();
    case VT_I8: return py::format_descriptor<int64_t>::format();
    case VT_UI8: return py::format_descriptor<uint64_t>::format();
    case VT_R4: return py::format_descriptor<float>::format();
    case VT_R8:
    case VT_DATE: return py::format_descriptor<double>::format();
    default: return std::string();
  }
}

std::vector<py::ssize_t> StridesOf(const std::vector<py::ssize_t>& shape, size_t element_size) {
  std::vector<py::ssize_t> strides(shape.size());
  py::ssize_t stride = static_cast<py::ssize_t>(element_size);
  for (size_t i = shape.size(); i-- > 0;) {
    strides[i] = stride;
    stride *= shape[i];
  }
  return strides;
}

struct ArrayDestroyer {
  void operator()(SAFEARRAY* array) const { SafeArrayDestroy(array); }
};
using OwnedArray = std::unique_ptr<SAFEARRAY, ArrayDestroyer>;

// A 1-D safe array of VARIANTs, strings or interface pointers as a list.
py::list ListFrom(OwnedArray array, VARTYPE vt, const std::shared_ptr<Session>& session) {
  if (SafeArrayGetDim(array.get()) != 1) {
    throw py::type_error("only one-dimensional arrays of variants, strings or objects are supported");
  }
  LONG lower = 0, upper = -1;
  SafeArrayGetLBound(array.get(), 1, &lower);
  SafeArrayGetUBound(array.get(), 1, &upper);
  py::list out;
  for (LONG i = lower; i <= upper; ++i) {
    VARIANT element;
    VariantInit(&element);
    HRESULT hr;
    if (vt == VT_VARIANT) {
      hr = SafeArrayGetElement(array.get(), &i, &element);
    } else {
      element.vt = vt;
      hr = SafeArrayGetElement(array.get(), &i, &element.byref);  // the pointer-sized member
    }
    RaiseIfFailed(hr, "read an array element");
    out.append(TakeVariant(&element, session));
  }
  return out;
}

}  // namespace

SafeArray::SafeArray(SAFEARRAY* adopted) : array_(adopted) {
  SafeArrayGetVartype(array_, &vt_);
  element_size_ = SafeArrayGetElemsize(array_);
  const UINT dims = SafeArrayGetDim(array_);
  for (UINT d = dims; d >= 1; --d) {
    LONG lower = 0, upper = -1;
    SafeArrayGetLBound(array_, d, &lower);
    SafeArrayGetUBound(array_, d, &upper);
    shape_.push_back(upper >= lower ? static_cast<py::ssize_t>(upper) - lower + 1 : 0);
  }
  const HRESULT hr = SafeArrayAccessData(array_, &data_);
  if (FAILED(hr)) {
    SafeArrayDestroy(array_);
    array_ = nullptr;
    RaiseIfFailed(hr, "access a result array");
  }
}

SafeArray::~SafeArray() {
  if (!array_) return;
  SafeArrayUnaccessData(array_);
  SafeArrayDestroy(array_);
}

py::buffer_info SafeArray::Buffer() const {
  const std::string format = FormatOf(vt_);
  if (format.empty()) throw py::type_error("the array holds no numbers");
  return py::buffer_info(data_, static_cast<py::ssize_t>(element_size_), format,
                         static_cast<py::ssize_t>(shape_.size()), shape_,
                         StridesOf(shape_, element_size_));
}

py::object NumpyView(py::object holder) {
  const SafeArray& array = holder.cast<const SafeArray&>();
  return py::array(py::dtype(FormatOf(array.vartype())), array.shape(),
                   StridesOf(array.shape(), array.element_size()), array.data(), holder);
}

py::object ToPython(SAFEARRAY* adopted, const std::shared_ptr<Session>& session) {
  VARTYPE vt = VT_EMPTY;
  if (FAILED(SafeArrayGetVartype(adopted, &vt))) {
    SafeArrayDestroy(adopted);
    throw py::type_error("an array of unknown element type");
  }
  if (vt == VT_VARIANT || vt == VT_BSTR || vt == VT_DISPATCH || vt == VT_UNKNOWN) {
    return ListFrom(OwnedArray(adopted), vt, session);
  }
  if (FormatOf(vt).empty()) {
    SafeArrayDestroy(adopted);
    throw py::type_error("an array of element type " + std::to_string(vt) + " has no numpy form");
  }
  py::object view = NumpyView(py::cast(std::make_unique<SafeArray>(adopted)));
  if (vt == VT_BOOL) return view.attr("__ne__")(0);
  return view;
}

void RegisterSafeArray(py::module_& m) {
  py::class_<SafeArray>(m, "SafeArray", py::buffer_protocol(),
                        "Memory of an array returned by the library, shared by the numpy "
                        "arrays made from it (it is freed when the last of them goes).")
      .def_buffer([](const SafeArray& a) { return a.Buffer(); })
      .def_property_readonly(
          "address", [](const SafeArray& a) { return reinterpret_cast<uintptr_t>(a.data()); },
          "Address of the first element.")
      .def_property_readonly("nbytes", [](const SafeArray& a) {
        size_t n = a.element_size();
        for (py::ssize_t extent : a.shape()) n *= static_cast<size_t>(extent);
        return n;
      });
}

}  // namespace movalegacy
