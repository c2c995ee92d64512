// Owning wrappers and conversions for BSTR, VARIANT and UTF-8/UTF-16 text.
//
// Bstr owns one BSTR (freed with SysFreeString); Variant owns one VARIANT
// (cleared with VariantClear). Both follow the ComPtr conventions: put()
// frees first and returns the slot for an out parameter, detach() hands the
// value to the caller. Copies are deep. Construction failures leave them
// empty (a null BSTR is the empty string); the conversions never throw
// except std::bad_alloc from std::string/OleString.
#pragma once

#include "platform/win.h"

#include <string>
#include <utility>

namespace mlr {

// UTF-16 text in the platform's OLECHAR (char16_t on POSIX, wchar_t on
// Windows).
using OleString = std::basic_string<OLECHAR>;

std::string ToUtf8(const OLECHAR* text);                 // null: ""
std::string ToUtf8(const OLECHAR* text, size_t length);  // invalid UTF-16 -> U+FFFD
OleString ToUtf16(const char* text);                // null: ""
OleString ToUtf16(const char* text, size_t length);  // invalid UTF-8 -> U+FFFD
// A new BSTR from UTF-8 (null on allocation failure).
BSTR AllocBstrUtf8(const char* text);

class Bstr {
 public:
  Bstr() = default;
  explicit Bstr(const OLECHAR* text) : s_(SysAllocString(text)) {}
  Bstr(const OLECHAR* text, UINT length) : s_(SysAllocStringLen(text, length)) {}
  Bstr(const Bstr& other) : s_(other.s_ ? SysAllocStringLen(other.s_, other.Length()) : nullptr) {}
  Bstr(Bstr&& other) noexcept : s_(std::exchange(other.s_, nullptr)) {}
  ~Bstr() { SysFreeString(s_); }
  Bstr& operator=(Bstr other) noexcept {
    std::swap(s_, other.s_);
    return *this;
  }
  static Bstr FromUtf8(const char* text) { return Adopt(AllocBstrUtf8(text)); }
  static Bstr Adopt(BSTR s) {
    Bstr b;
    b.s_ = s;
    return b;
  }

  BSTR get() const { return s_; }
  UINT Length() const { return SysStringLen(s_); }
  bool empty() const { return Length() == 0; }
  BSTR* put() {
    reset();
    return &s_;
  }
  void reset() {
    SysFreeString(s_);
    s_ = nullptr;
  }
  [[nodiscard]] BSTR detach() { return std::exchange(s_, nullptr); }
  std::string Utf8() const { return ToUtf8(s_, Length()); }
  OleString Str() const { return OleString(s_ ? s_ : OLESTR(""), Length()); }

 private:
  BSTR s_ = nullptr;
};

class Variant {
 public:
  Variant() { VariantInit(&v_); }
  Variant(const Variant& other) {
    VariantInit(&v_);
    VariantCopy(&v_, const_cast<VARIANT*>(&other.v_));
  }
  Variant(Variant&& other) noexcept : v_(other.v_) { VariantInit(&other.v_); }
  ~Variant() { VariantClear(&v_); }
  Variant& operator=(Variant other) noexcept {
    std::swap(v_, other.v_);
    return *this;
  }

  VARIANT* get() { return &v_; }
  const VARIANT* get() const { return &v_; }
  VARIANT* operator->() { return &v_; }
  const VARIANT* operator->() const { return &v_; }
  VARIANT* put() {
    VariantClear(&v_);
    return &v_;
  }
  [[nodiscard]] VARIANT detach() {
    VARIANT out = v_;
    VariantInit(&v_);
    return out;
  }

 private:
  VARIANT v_;
};

}  // namespace mlr
