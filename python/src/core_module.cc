// movalegacy._core: the C++ half of the Python module (the Pythonic layer is
// the package movalegacy around it). See com_object.h (objects, late
// binding), safe_array.h (zero-copy arrays), data_calls.h (opening and data).
#include <pybind11/pybind11.h>

#include "python/src/com_object.h"
#include "python/src/data_calls.h"
#include "python/src/safe_array.h"
#include "python/src/services.h"

PYBIND11_MODULE(_core, m) {
  m.doc() = "Bindings of the movaLegacyRecording library (use the package movalegacy).";
  movalegacy::RegisterSafeArray(m);
  movalegacy::RegisterComObject(m);
  movalegacy::RegisterDataCalls(m);
  movalegacy::RegisterServices(m);
}
