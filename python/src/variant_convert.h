// Python values to and from VARIANTs, for late-bound calls.
//
// ToVariant(value, out) fills *out (which the caller has initialised and
// later clears):
//   None -> VT_EMPTY; bool -> VT_BOOL; int (and anything with __index__) ->
//   VT_I4, or VT_I8 beyond 32 bits; float -> VT_R8; str -> VT_BSTR;
//   ComObject -> VT_DISPATCH; bytes/bytearray -> VT_ARRAY|VT_UI1; a 1-D
//   numpy array of numbers -> a safe array of the same element type (copied);
//   a list or tuple of ComObjects -> VT_ARRAY|VT_DISPATCH (what the channel
//   arguments take), of anything else -> VT_ARRAY|VT_VARIANT.
//   Anything else raises TypeError.
//
// TakeVariant(v, session) moves *v into a Python object and leaves it
// VT_EMPTY: empty/null -> None; integers -> int; VT_R4/R8/CY/DECIMAL ->
// float (the void number stays the NaN it is); VT_BOOL -> bool; VT_BSTR ->
// str; VT_DATE -> naive datetime.datetime; VT_ERROR -> None for a missing
// argument, else the code as int; objects -> ComObject of `session` (an
// object that answers IStream instead, as display pages hand out, is read
// into bytes); arrays -> see safe_array.h; by-reference values are
// dereferenced.
//
// Both need the GIL.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <vector>

#include "platform/win.h"

namespace movalegacy {

class ComObject;
class Session;

void ToVariant(pybind11::handle value, VARIANT* out);
pybind11::object TakeVariant(VARIANT* v, const std::shared_ptr<Session>& session);

// A new VT_DISPATCH vector (lower bound 0) holding the objects, in order.
SAFEARRAY* ObjectArray(const std::vector<ComObject*>& objects);

// VARIANTs cleared together when they go out of scope.
class VariantList {
 public:
  explicit VariantList(size_t n);
  ~VariantList();
  VariantList(const VariantList&) = delete;
  VariantList& operator=(const VariantList&) = delete;
  VARIANT* data() { return items_.data(); }
  VARIANT& operator[](size_t i) { return items_[i]; }

 private:
  std::vector<VARIANT> items_;
};

}  // namespace movalegacy
