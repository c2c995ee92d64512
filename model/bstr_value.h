// A BSTR owned by an object of the model (a field such as a title or a
// channel name). Copies are deep; a null BSTR stands for the empty string.
//
// `Copy(BSTR* out)` hands the caller a new BSTR (the caller frees it):
// E_POINTER for a null out, E_OUTOFMEMORY when the copy cannot be made
// (*out is then null).
#pragma once

#include <utility>

#include "platform/win.h"

namespace mlr::model {

class BstrValue {
 public:
  BstrValue() = default;
  explicit BstrValue(const OLECHAR* text) { Assign(text); }
  BstrValue(const BstrValue& other) { AssignBstr(other.value_); }
  BstrValue(BstrValue&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  BstrValue& operator=(const BstrValue& other) {
    if (this != &other) AssignBstr(other.value_);
    return *this;
  }
  BstrValue& operator=(BstrValue&& other) noexcept {
    if (this != &other) {
      SysFreeString(value_);
      value_ = std::exchange(other.value_, nullptr);
    }
    return *this;
  }
  ~BstrValue() { SysFreeString(value_); }

  // Replaces the value by a copy of a NUL-terminated string (null: empty).
  // False when the copy could not be made; the old value is then kept.
  bool Assign(const OLECHAR* text) {
    BSTR copy = nullptr;
    if (text != nullptr) {
      copy = SysAllocString(text);
      if (copy == nullptr) return false;
    }
    SysFreeString(value_);
    value_ = copy;
    return true;
  }
  // Replaces the value by a copy of a BSTR, embedded NULs included.
  bool AssignBstr(BSTR text) { return AssignLength(text, SysStringLen(text)); }
  // Replaces the value by a copy of `length` characters (null: empty).
  bool AssignLength(const OLECHAR* text, UINT length) {
    BSTR copy = nullptr;
    if (text != nullptr) {
      copy = SysAllocStringLen(text, length);
      if (copy == nullptr) return false;
    }
    SysFreeString(value_);
    value_ = copy;
    return true;
  }

  HRESULT Copy(BSTR* out) const {
    if (out == nullptr) return E_POINTER;
    *out = SysAllocStringLen(value_, SysStringLen(value_));
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
  }

  BSTR get() const { return value_; }
  UINT length() const { return SysStringLen(value_); }

 private:
  BSTR value_ = nullptr;
};

}  // namespace mlr::model
