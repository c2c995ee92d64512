// Spelling C++ parameter types and IDL parameter types the same way, so that
// a module function's C++ prototype can be compared with its IDL declaration.
//
// Both sides are reduced to what C++ can tell apart: VARIANT_BOOL is a short
// and DATE a double in C++, so the IDL names are reduced to those; BSTR is
// OLECHAR*; SAFEARRAY(T) is SAFEARRAY* whatever T is. Interfaces and
// enumerations keep their names.
#pragma once

#include <string>
#include <type_traits>
#include <vector>

#include "LegacyRecording.h"
#include "tests/catalogue/catalogue_fixture.h"

namespace catalogue_test {

template <class T>
struct TypeName {
  // An unknown type spells as "?" and so never matches an IDL type.
  static std::string get() { return "?"; }
};

template <class T>
struct TypeName<T*> {
  static std::string get() { return TypeName<T>::get() + "*"; }
};

#define CATALOGUE_TYPE_NAME(T, text) \
  template <>                        \
  struct TypeName<T> {               \
    static std::string get() { return text; } \
  };

CATALOGUE_TYPE_NAME(LONG, "long")
CATALOGUE_TYPE_NAME(short, "short")
CATALOGUE_TYPE_NAME(double, "double")
CATALOGUE_TYPE_NAME(OLECHAR, "OLECHAR")
CATALOGUE_TYPE_NAME(SAFEARRAY, "SAFEARRAY")
CATALOGUE_TYPE_NAME(IUnknown, "IUnknown")

#define CATALOGUE_NAMED_TYPE(T) CATALOGUE_TYPE_NAME(T, #T)
CATALOGUE_INTERFACES(CATALOGUE_NAMED_TYPE)
CATALOGUE_NAMED_TYPE(kalSaveRecordingFlags)
CATALOGUE_NAMED_TYPE(kalRecordingCollection)
#undef CATALOGUE_NAMED_TYPE
#undef CATALOGUE_TYPE_NAME

// The parameter types of a function type, spelled.
template <class F>
struct Signature;

template <class R, class... A>
struct Signature<R(A...)> {
  static std::string result() { return TypeName<R>::get(); }
  static std::vector<std::string> params() { return {TypeName<A>::get()...}; }
};

template <class R, class... A>
struct Signature<R (*)(A...)> : Signature<R(A...)> {};

// An IDL type reduced to the C++ spelling above.
std::string reduce_idl_type(const std::string& idl_type);

}  // namespace catalogue_test
