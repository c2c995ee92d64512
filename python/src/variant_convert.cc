#include "python/src/variant_convert.h"

#include <pybind11/numpy.h>

#include <cstring>
#include <string>

#include "platform/strings.h"
#include "python/src/com_object.h"
#include "python/src/safe_array.h"
#include "python/src/status_error.h"

namespace py = pybind11;

namespace movalegacy {
namespace {

VARTYPE VartypeOfDtype(const py::dtype& dtype) {
  const char kind = dtype.kind();
  const py::ssize_t size = dtype.itemsize();
  if (kind == 'i') {
    switch (size) {
      case 1: return VT_I1;
      case 2: return VT_I2;
      case 4: return VT_I4;
      case 8: return VT_I8;
    }
  } else if (kind == 'u') {
    switch (size) {
      case 1: return VT_UI1;
      case 2: return VT_UI2;
      case 4: return VT_UI4;
      case 8: return VT_UI8;
    }
  } else if (kind == 'f') {
    if (size == 4) return VT_R4;
    if (size == 8) return VT_R8;
  }
  return VT_EMPTY;
}

// A safe-array vector of `vt` holding a copy of `bytes` (count elements).
SAFEARRAY* VectorOf(VARTYPE vt, const void* bytes, size_t count, size_t element_size) {
  SAFEARRAY* array = SafeArrayCreateVector(vt, 0, static_cast<ULONG>(count));
  if (!array) throw std::bad_alloc();
  void* data = nullptr;
  if (SUCCEEDED(SafeArrayAccessData(array, &data))) {
    if (count) std::memcpy(data, bytes, count * element_size);
    SafeArrayUnaccessData(array);
  }
  return array;
}

SAFEARRAY* VariantVector(py::sequence items) {
  const size_t n = py::len(items);
  SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(n));
  if (!array) throw std::bad_alloc();
  for (size_t i = 0; i < n; ++i) {
    VariantList one(1);
    try {
      ToVariant(items[i], &one[0]);
    } catch (...) {
      SafeArrayDestroy(array);
      throw;
    }
    LONG index = static_cast<LONG>(i);
    SafeArrayPutElement(array, &index, &one[0]);  // copies
  }
  return array;
}

bool AllObjects(py::sequence items) {
  if (py::len(items) == 0) return false;
  for (py::handle item : items) {
    if (!py::isinstance<ComObject>(item)) return false;
  }
  return true;
}

// Reads what is left of a stream (display-page blobs) into bytes.
py::bytes ReadStream(IStream* stream) {
  std::string out;
  char block[65536];
  for (;;) {
    ULONG got = 0;
    const HRESULT hr = stream->Read(block, sizeof block, &got);
    RaiseIfFailed(hr, "read a stream");
    out.append(block, got);
    if (got < sizeof block) break;
  }
  return py::bytes(out);
}

py::object FromDate(double date) {
  py::module_ dt = py::module_::import("datetime");
  py::object epoch = dt.attr("datetime")(1899, 12, 30);
  return epoch + dt.attr("timedelta")(py::arg("days") = date);
}

}  // namespace

VariantList::VariantList(size_t n) : items_(n) {
  for (VARIANT& v : items_) VariantInit(&v);
}

VariantList::~VariantList() {
  for (VARIANT& v : items_) VariantClear(&v);
}

SAFEARRAY* ObjectArray(const std::vector<ComObject*>& objects) {
  SAFEARRAY* array = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(objects.size()));
  if (!array) throw std::bad_alloc();
  for (size_t i = 0; i < objects.size(); ++i) {
    IDispatch* object;
    try {
      object = objects[i]->get();
    } catch (...) {
      SafeArrayDestroy(array);
      throw;
    }
    LONG index = static_cast<LONG>(i);
    SafeArrayPutElement(array, &index, object);  // adds a reference
  }
  return array;
}

void ToVariant(py::handle value, VARIANT* out) {
  if (value.is_none()) {
    out->vt = VT_EMPTY;
  } else if (py::isinstance<py::bool_>(value)) {
    out->vt = VT_BOOL;
    out->boolVal = value.cast<bool>() ? VARIANT_TRUE : VARIANT_FALSE;
  } else if (py::isinstance<py::float_>(value)) {
    out->vt = VT_R8;
    out->dblVal = value.cast<double>();
  } else if (PyIndex_Check(value.ptr())) {
    const long long v = py::int_(py::reinterpret_borrow<py::object>(value)).cast<long long>();
    if (v >= INT32_MIN && v <= INT32_MAX) {
      out->vt = VT_I4;
      out->lVal = static_cast<LONG>(v);
    } else {
      out->vt = VT_I8;
      out->llVal = v;
    }
  } else if (py::isinstance<py::str>(value)) {
    const std::string text = value.cast<std::string>();
    out->bstrVal = mlr::AllocBstrUtf8(text.c_str());
    if (!out->bstrVal) throw std::bad_alloc();
    out->vt = VT_BSTR;
  } else if (py::isinstance<ComObject>(value)) {
    IDispatch* object = value.cast<const ComObject&>().get();
    object->AddRef();
    out->vt = VT_DISPATCH;
    out->pdispVal = object;
  } else if (py::isinstance<py::bytes>(value) || py::isinstance<py::bytearray>(value)) {
    const std::string bytes = py::isinstance<py::bytes>(value)
                                  ? value.cast<std::string>()
                                  : std::string(PyByteArray_AsString(value.ptr()),
                                                static_cast<size_t>(PyByteArray_Size(value.ptr())));
    out->parray = VectorOf(VT_UI1, bytes.data(), bytes.size(), 1);
    out->vt = VT_ARRAY | VT_UI1;
  } else if (py::isinstance<py::array>(value)) {
    py::array array = py::array::ensure(value, py::array::c_style);
    const VARTYPE vt = VartypeOfDtype(array.dtype());
    if (array.ndim() != 1 || vt == VT_EMPTY) {
      throw py::type_error("only one-dimensional numpy arrays of numbers can be passed");
    }
    out->parray = VectorOf(vt, array.data(), static_cast<size_t>(array.size()),
                           static_cast<size_t>(array.itemsize()));
    out->vt = VT_ARRAY | vt;
  } else if (py::isinstance<py::list>(value) || py::isinstance<py::tuple>(value)) {
    py::sequence items = py::reinterpret_borrow<py::sequence>(value);
    if (AllObjects(items)) {
      std::vector<ComObject*> objects;
      for (py::handle item : items) objects.push_back(&item.cast<ComObject&>());
      out->parray = ObjectArray(objects);
      out->vt = VT_ARRAY | VT_DISPATCH;
    } else {
      out->parray = VariantVector(items);
      out->vt = VT_ARRAY | VT_VARIANT;
    }
  } else {
    throw py::type_error("cannot pass a " +
                         py::str(py::type::of(value).attr("__name__")).cast<std::string>() +
                         " to the library");
  }
}

py::object TakeVariant(VARIANT* v, const std::shared_ptr<Session>& session) {
  VariantList hold(1);  // owns the value from here on
  std::swap(hold[0], *v);
  VARIANT& value = hold[0];
  if (value.vt & VT_BYREF) {
    VariantList target(1);
    RaiseIfFailed(VariantCopyInd(&target[0], &value), "read a by-reference value");
    return TakeVariant(&target[0], session);
  }
  if (value.vt & VT_ARRAY) {
    SAFEARRAY* array = value.parray;
    value.vt = VT_EMPTY;
    if (!array) return py::none();
    return ToPython(array, session);
  }
  switch (value.vt) {
    case VT_EMPTY:
    case VT_NULL: return py::none();
    case VT_I1: return py::int_(static_cast<int>(value.cVal));
    case VT_UI1: return py::int_(static_cast<int>(value.bVal));
    case VT_I2: return py::int_(static_cast<int>(value.iVal));
    case VT_UI2: return py::int_(static_cast<int>(value.uiVal));
    case VT_I4:
    case VT_INT: return py::int_(static_cast<long long>(value.lVal));
    case VT_UI4:
    case VT_UINT: return py::int_(static_cast<unsigned long long>(value.ulVal));
    case VT_I8: return py::int_(static_cast<long long>(value.llVal));
    case VT_UI8: return py::int_(static_cast<unsigned long long>(value.ullVal));
    case VT_R4: return py::float_(static_cast<double>(value.fltVal));
    case VT_R8: return py::float_(value.dblVal);
    case VT_BOOL: return py::bool_(value.boolVal != VARIANT_FALSE);
    case VT_DATE: return FromDate(value.date);
    case VT_BSTR: return py::str(mlr::ToUtf8(value.bstrVal, SysStringLen(value.bstrVal)));
    case VT_ERROR:
      if (value.scode == DISP_E_PARAMNOTFOUND) return py::none();
      return py::int_(static_cast<long long>(value.scode));
    case VT_DISPATCH:
    case VT_UNKNOWN: {
      IUnknown* object = value.punkVal;
      if (!object) return py::none();
      mlr::ComPtr<IStream> stream;
      mlr::ComPtr<IDispatch> dispatch;
      if (FAILED(object->QueryInterface(IID_IDispatch, dispatch.put_void())) &&
          SUCCEEDED(object->QueryInterface(IID_IStream, stream.put_void())) && stream) {
        return ReadStream(stream.get());
      }
      return Wrap(object, session);
    }
    default: {
      VariantList number(1);
      if (SUCCEEDED(VariantChangeType(&number[0], &value, 0, VT_R8))) {
        return py::float_(number[0].dblVal);
      }
      throw py::type_error("a value of type " + std::to_string(value.vt) + " has no Python form");
    }
  }
}

}  // namespace movalegacy
