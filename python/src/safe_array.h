// Safe arrays handed to Python without copying.
//
// SafeArray owns one SAFEARRAY that the library returned (the caller owns
// such arrays) and keeps its data accessed (SafeArrayAccessData) for its
// whole life, so the memory cannot move. It exports the data through the
// buffer protocol with numpy's layout: the safe array's first dimension
// varies fastest, so it becomes the last numpy axis (a (channels, frames)
// safe array is a C-ordered (frames, channels) array). The safe array is
// destroyed with the holder, that is when the last Python object that uses
// its memory goes.
//
// ToPython(adopted) turns a returned safe array into what a Python caller
// wants: a numpy array whose base is the SafeArray holder (numbers, no copy;
// VARIANT_BOOL arrays are copied into bool), or a list for arrays of
// VARIANTs, strings and objects (1-D only; converted element by element,
// objects tied to `session`).
//
// Needs the GIL. Elements types without a numpy equivalent raise TypeError.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <vector>

#include "platform/win.h"

namespace movalegacy {

class Session;

class SafeArray {
 public:
  // Takes ownership of `adopted` (not null) and accesses its data; a failure
  // to access destroys it and raises movalegacy.Error.
  explicit SafeArray(SAFEARRAY* adopted);
  ~SafeArray();
  SafeArray(const SafeArray&) = delete;
  SafeArray& operator=(const SafeArray&) = delete;

  VARTYPE vartype() const { return vt_; }
  void* data() const { return data_; }
  size_t element_size() const { return element_size_; }
  // Extents in numpy order (the safe array's last dimension first).
  const std::vector<pybind11::ssize_t>& shape() const { return shape_; }
  // The data as a buffer (numbers only).
  pybind11::buffer_info Buffer() const;

 private:
  SAFEARRAY* array_;
  void* data_ = nullptr;
  VARTYPE vt_ = VT_EMPTY;
  size_t element_size_ = 0;
  std::vector<pybind11::ssize_t> shape_;
};

pybind11::object ToPython(SAFEARRAY* adopted, const std::shared_ptr<Session>& session);

// A numpy array over the holder's memory; the holder becomes its base.
pybind11::object NumpyView(pybind11::object holder);

void RegisterSafeArray(pybind11::module_& m);

}  // namespace movalegacy
