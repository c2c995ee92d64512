// Table-driven IDispatch: late-bound access (GetIDsOfNames, Invoke) to an
// interface's members, described by one table line per member.
//
// Writing a table (one line per member, in any order):
//
//   static constexpr mlr::dispatch::Member kRecordingMembers[] = {
//     MLR_DISP_PROPGET(IRecording, get_Title, "Title", 0),
//     MLR_DISP_PROPPUT(IRecording, put_Title, "Title", 0),
//     MLR_DISP_PROPGET(IRecording, get_WriteProtect, "WriteProtect", 5, RetBool),
//     MLR_DISP_PROPPUT(IRecording, put_WriteProtect, "WriteProtect", 5, InBool),
//     MLR_DISP_METHOD(IChannelGroup, GetMuxData, "GetMuxData", 12,
//                     In.As(VT_ARRAY | VT_DISPATCH), In, In, In, In,
//                     Out.As(VT_ARRAY | VT_I2)),
//     MLR_DISP_METHOD(IEventChannel, Name, "Name", 3, Opt(0), Retval),
//     MLR_DISP_PROPGET(IMarkers, get__NewEnum, "_NewEnum", DISPID_NEWENUM),
//   };
//   static constexpr mlr::dispatch::Table kRecordingDispTable =
//       MLR_DISP_TABLE(IRecording, kRecordingMembers);
//
//   class CRecording : public mlr::DispatchImpl<IRecording, &kRecordingDispTable> {
//     // IUnknown and the IRecording members; the four IDispatch members are
//     // implemented by DispatchImpl.
//   };
//
// A line names the interface, the C++ member, the automation name (matched
// case-insensitively, ASCII), the DISPID, and optionally one spec per C++
// parameter, in declaration order. The parameter types are deduced from the
// member function. Declare the table `constexpr`: every mistake the
// compiler can see (wrong number of specs, Retval not last, an [out] spec on a
// non-pointer, an As() the type cannot hold, an unsupported type) then fails
// the build.
//
// Parameter specs (namespace mlr::dispatch::spec, in scope inside the macros):
//   In            [in]. A value parameter is passed by value; a pointer
//                 parameter (SAFEARRAY** for IDL `[in] SAFEARRAY(T)*`,
//                 VARIANT*) receives the address of the converted argument.
//   Out           [out] pointer: the caller passes a VT_BYREF VARIANT; the
//                 value is written back through it (converted to the
//                 caller's type, the old content freed).
//   InOut         [in, out] pointer: read through the VT_BYREF argument, then
//                 written back like Out.
//   Retval        [out, retval] pointer, the last parameter: becomes the
//                 result (pVarResult).
//   Opt()         optional [in] with no default: a missing argument is
//                 VT_ERROR/DISP_E_PARAMNOTFOUND for a VARIANT parameter, zero
//                 or null for others.
//   Opt(v)        optional [in] with a default: int (VT_I4), double (VT_R8),
//                 bool (VT_BOOL) or a wide string OLESTR("...") (VT_BSTR),
//                 converted to the parameter's type like an argument.
//   X.As(vt)      overrides the automation type deduced from the C++ type,
//                 where C++ cannot tell: VT_BOOL for VARIANT_BOOL (a short),
//                 VT_DATE for DATE (a double), VT_ERROR for SCODE, VT_INT/
//                 VT_UINT, VT_ARRAY|elem for SAFEARRAY* (default VT_ARRAY|
//                 VT_VARIANT), VT_UNKNOWN for an interface derived from
//                 IDispatch.
//   InBool, InDate, RetBool, RetDate, OutBool, OutDate: shorthands.
// Without specs: value parameters are In; pointer parameters are Out, and a
// pointer that is the last parameter is Retval. So most property lines need no
// specs; give them for VARIANT_BOOL, DATE, [in] pointers and optional
// arguments.
//
// Deduced types: char/signed char VT_I1, BYTE VT_UI1, SHORT VT_I2, USHORT
// VT_UI2, LONG/INT (and enums of 32 bits) VT_I4, ULONG/UINT VT_UI4, LONGLONG
// VT_I8, ULONGLONG VT_UI8, FLOAT VT_R4, DOUBLE VT_R8, BSTR VT_BSTR, VARIANT
// VT_VARIANT, IUnknown* VT_UNKNOWN, IDispatch* and interfaces derived from it
// VT_DISPATCH (an [in] interface other than IUnknown/IDispatch is obtained
// with QueryInterface through its MLR_DECLARE_IID binding), SAFEARRAY*
// VT_ARRAY|VT_VARIANT.
//
// Invoke semantics (documented Windows behaviour where it exists):
// - riid must be IID_NULL (else DISP_E_UNKNOWNINTERFACE); the lcid is ignored.
// - wFlags selects the member: PROPERTYPUT/PROPERTYPUTREF a put line;
//   otherwise METHOD a method line, then PROPERTYGET a get line (a client may
//   pass both bits). A DISPID without a line of the requested kind gives
//   DISP_E_MEMBERNOTFOUND.
// - Arguments arrive in reverse order in rgvarg. For a put, rgvarg[0] is the
//   new value (named DISPID_PROPERTYPUT; also accepted unnamed). Other named
//   arguments give DISP_E_NONAMEDARGS (parameter names are not known).
// - Fewer positional arguments than required parameters, or more than
//   declared: DISP_E_BADPARAMCOUNT. An optional argument may be left out at
//   the end or passed as VT_ERROR with DISP_E_PARAMNOTFOUND; a required one
//   passed that way gives DISP_E_PARAMNOTOPTIONAL.
// - [in] arguments are converted with VariantChangeType (by-reference
//   arguments are dereferenced first). A failed conversion returns
//   DISP_E_TYPEMISMATCH, or DISP_E_OVERFLOW when the value does not fit, with
//   *puArgErr the argument's index in rgvarg. An [out] argument that is not
//   VT_BYREF gives DISP_E_TYPEMISMATCH.
// - The thread's error info is cleared before the member runs. A member that
//   fails gives DISP_E_EXCEPTION with *pExcepInfo filled from the error info
//   it set (source, description, help file and context; scode is the
//   member's HRESULT); without pExcepInfo the member's HRESULT is returned.
//   [out] arguments are left untouched when the member fails (the member
//   leaves its out values null, as every member's contract says).
// - pVarResult may be null: a result is then freed.
// GetIDsOfNames: rgszNames[0] is the member name; further names (parameter
// names) get DISPID_UNKNOWN and the call returns DISP_E_UNKNOWNNAME.
// GetTypeInfoCount gives 0; GetTypeInfo gives DISP_E_BADINDEX.
//
// Threading: tables are immutable; Invoke is as thread-safe as the members.
#pragma once

#include "platform/iid_traits.h"
#include "platform/win.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>
#include <tuple>
#include <type_traits>
#include <utility>

namespace mlr {
namespace dispatch {

enum class Kind : uint8_t {
  kMethod = DISPATCH_METHOD,
  kPropGet = DISPATCH_PROPERTYGET,
  kPropPut = DISPATCH_PROPERTYPUT,
  kPropPutRef = DISPATCH_PROPERTYPUTREF,
};

enum class Dir : uint8_t { kIn, kOut, kInOut, kRetval };

// A default value of an optional parameter; vt VT_EMPTY means "none".
struct Default {
  VARTYPE vt = VT_EMPTY;
  LONGLONG i = 0;
  double d = 0;
  const OLECHAR* s = nullptr;
};

// A parameter spec as written in a table line.
struct ParamSpec {
  Dir dir = Dir::kIn;
  bool optional = false;
  VARTYPE as = VT_EMPTY;  // VT_EMPTY: deduced from the C++ type
  Default def{};

  constexpr ParamSpec As(VARTYPE vt) const {
    ParamSpec p = *this;
    p.as = vt;
    return p;
  }
};

namespace spec {
inline constexpr ParamSpec In{};
inline constexpr ParamSpec Out{Dir::kOut};
inline constexpr ParamSpec InOut{Dir::kInOut};
inline constexpr ParamSpec Retval{Dir::kRetval};
inline constexpr ParamSpec InBool = In.As(VT_BOOL);
inline constexpr ParamSpec InDate = In.As(VT_DATE);
inline constexpr ParamSpec OutBool = Out.As(VT_BOOL);
inline constexpr ParamSpec OutDate = Out.As(VT_DATE);
inline constexpr ParamSpec RetBool = Retval.As(VT_BOOL);
inline constexpr ParamSpec RetDate = Retval.As(VT_DATE);
constexpr ParamSpec Opt() {
  ParamSpec p;
  p.optional = true;
  return p;
}
constexpr ParamSpec Opt(int v) {
  ParamSpec p = Opt();
  p.def.vt = VT_I4;
  p.def.i = v;
  return p;
}
constexpr ParamSpec Opt(double v) {
  ParamSpec p = Opt();
  p.def.vt = VT_R8;
  p.def.d = v;
  return p;
}
constexpr ParamSpec Opt(bool v) {
  ParamSpec p = Opt();
  p.def.vt = VT_BOOL;
  p.def.i = v ? -1 : 0;
  return p;
}
constexpr ParamSpec Opt(const OLECHAR* v) {
  ParamSpec p = Opt();
  p.def.vt = VT_BSTR;
  p.def.s = v;
  return p;
}
}  // namespace spec

inline constexpr size_t kMaxParams = 12;

// A parameter as resolved at compile time: direction, the automation type of
// the value (of the pointee for pointer parameters) and the default.
struct Param {
  Dir dir = Dir::kIn;
  bool optional = false;
  bool by_pointer = false;  // the C++ parameter is a pointer to the value
  VARTYPE vt = VT_EMPTY;
  Default def{};
};

struct Member;

// Calls the member on `self`. args[i] belongs to parameter i (see
// dispatch.cc): for In, the argument already converted to params[i].vt; for
// InOut, the same, and the thunk stores the new value back into it; for
// Out/Retval, an empty VARIANT that receives the value. On a parameter that
// cannot be used (an interface that does not answer QueryInterface) the thunk
// returns DISP_E_TYPEMISMATCH with *bad_param set.
using Thunk = HRESULT (*)(IDispatch* self, const Member& member, VARIANT* const* args,
                          UINT* bad_param);

struct Member {
  const char* name = nullptr;
  DISPID dispid = DISPID_UNKNOWN;
  Kind kind = Kind::kMethod;
  uint8_t param_count = 0;
  Param params[kMaxParams]{};
  Thunk thunk = nullptr;
  int (*vtable_slot)() = nullptr;  // index of the member in the vtable, -1 if unknown
};

struct Table {
  const char* interface_name;
  const Member* members;
  size_t count;
};

// The non-template machinery (dispatch.cc). `self` is the object whose
// members the thunks call.
HRESULT GetIDsOfNames(const Table& table, REFIID riid, LPOLESTR* rgszNames, UINT cNames,
                      DISPID* rgDispId);
HRESULT Invoke(const Table& table, IDispatch* self, DISPID dispIdMember, REFIID riid,
               WORD wFlags, DISPPARAMS* pDispParams, VARIANT* pVarResult,
               EXCEPINFO* pExcepInfo, UINT* puArgErr);
// The line for (dispid, one kind), or null.
const Member* Find(const Table& table, DISPID dispid, Kind kind);

namespace internal {

// constexpr-evaluated checks: reaching `throw` in a constant expression
// fails the build with the message in the diagnostic.
struct TableError {
  const char* what;
};
constexpr void Require(bool ok, const char* what) {
  if (!ok) throw TableError{what};
}

template <class T>
using Bare = std::remove_cv_t<T>;

template <class T>
constexpr bool IsInterfacePtr() {
  if constexpr (std::is_pointer_v<T>) {
    using P = std::remove_pointer_t<T>;
    return std::is_class_v<P> && std::is_base_of_v<IUnknown, P>;
  } else {
    return false;
  }
}

// The automation type of a value type, 0 when unsupported.
template <class T>
constexpr VARTYPE ValueVt() {
  using U = Bare<T>;
  if constexpr (std::is_same_v<U, VARIANT>) return VT_VARIANT;
  else if constexpr (std::is_same_v<U, BSTR>) return VT_BSTR;
  else if constexpr (std::is_same_v<U, SAFEARRAY*>) return VT_ARRAY | VT_VARIANT;
  else if constexpr (IsInterfacePtr<U>()) {
    using P = std::remove_pointer_t<U>;
    return std::is_base_of_v<IDispatch, P> ? VT_DISPATCH : VT_UNKNOWN;
  } else if constexpr (std::is_enum_v<U>) {
    return sizeof(U) == 4 ? VT_I4 : 0;
  } else if constexpr (std::is_same_v<U, bool>) return 0;
  else if constexpr (std::is_same_v<U, float>) return VT_R4;
  else if constexpr (std::is_same_v<U, double>) return VT_R8;
  else if constexpr (std::is_integral_v<U>) {
    constexpr bool s = std::is_signed_v<U>;
    if constexpr (sizeof(U) == 1) return s || std::is_same_v<U, char> ? VT_I1 : VT_UI1;
    else if constexpr (sizeof(U) == 2) return s ? VT_I2 : VT_UI2;
    else if constexpr (sizeof(U) == 4) return s ? VT_I4 : VT_UI4;
    else if constexpr (sizeof(U) == 8) return s ? VT_I8 : VT_UI8;
    else return 0;
  } else {
    return 0;
  }
}

// Whether `as` may replace the deduced type `deduced`.
constexpr bool AsAllowed(VARTYPE deduced, VARTYPE as) {
  if (as == deduced) return true;
  switch (deduced) {
    case VT_I2: return as == VT_BOOL;
    case VT_R8: return as == VT_DATE;
    case VT_I4: return as == VT_ERROR || as == VT_INT;
    case VT_UI4: return as == VT_UINT;
    case VT_DISPATCH: return as == VT_UNKNOWN;
    case VT_ARRAY | VT_VARIANT:
      return (as & VT_ARRAY) != 0 && (as & ~VT_ARRAY & ~VT_TYPEMASK) == 0;
    default: return false;
  }
}

// Classifies a C++ parameter type: a value type, or a pointer to one.
template <class P>
struct ParamType {
  static constexpr VARTYPE kValueVt = ValueVt<P>();
  static constexpr bool kIsValue = kValueVt != 0;
  using Pointee = std::conditional_t<std::is_pointer_v<P>, std::remove_pointer_t<P>, void>;
  static constexpr VARTYPE kPointeeVt =
      std::is_pointer_v<P> && !kIsValue && !std::is_void_v<Pointee> ? ValueVt<Pointee>() : 0;
};
template <>
struct ParamType<void*> {
  static constexpr VARTYPE kValueVt = 0;
  static constexpr bool kIsValue = false;
  using Pointee = void;
  static constexpr VARTYPE kPointeeVt = 0;
};

template <class P>
constexpr Param ResolveParam(const ParamSpec* spec, bool is_last) {
  using PT = ParamType<P>;
  Param p;
  Require(PT::kIsValue || PT::kPointeeVt != 0,
          "parameter type not supported by the dispatch table");
  if (spec) {
    p.dir = spec->dir;
    p.optional = spec->optional;
    p.def = spec->def;
  } else {
    p.dir = PT::kIsValue ? Dir::kIn : (is_last ? Dir::kRetval : Dir::kOut);
  }
  p.by_pointer = !PT::kIsValue;
  Require(p.dir == Dir::kIn || p.by_pointer, "an Out/InOut/Retval parameter must be a pointer");
  Require(p.dir != Dir::kRetval || is_last, "Retval must be the last parameter");
  Require(!p.optional || p.dir == Dir::kIn, "only [in] parameters can be optional");
  VARTYPE deduced = p.by_pointer ? PT::kPointeeVt : PT::kValueVt;
  p.vt = deduced;
  if (spec && spec->as != VT_EMPTY) {
    Require(AsAllowed(deduced, spec->as), "As() type does not fit the C++ parameter type");
    p.vt = spec->as;
  }
  return p;
}

template <class F>
struct MemberFn;
template <class C, class... A>
struct MemberFn<HRESULT (STDMETHODCALLTYPE C::*)(A...)> {
  using Class = C;
  using Args = std::tuple<A...>;
  static constexpr size_t kArity = sizeof...(A);
};

template <class... A>
struct ArgList {};

template <class Tuple>
struct TupleToArgList;
template <class... A>
struct TupleToArgList<std::tuple<A...>> {
  using Type = ArgList<A...>;
};

template <class... A, size_t... I>
constexpr void ResolveAll(Member& m, std::initializer_list<ParamSpec> specs, ArgList<A...>,
                          std::index_sequence<I...>) {
  constexpr size_t n = sizeof...(A);
  const ParamSpec* given = specs.size() ? specs.begin() : nullptr;
  ((m.params[I] = ResolveParam<A>(given ? given + I : nullptr, I + 1 == n)), ...);
}

// Reads a value of type T out of a VARIANT already of the parameter's type.
// Ownership stays with the VARIANT unless `take` is set (then the VARIANT is
// left VT_EMPTY and the caller owns the value).
template <class T>
inline HRESULT Extract(VARIANT* v, T* out, bool take) {
  using U = Bare<T>;
  if constexpr (std::is_same_v<U, VARIANT>) {
    *out = *v;
    if (take) v->vt = VT_EMPTY;
  } else if constexpr (IsInterfacePtr<U>() &&
                       !std::is_same_v<U, IUnknown*> && !std::is_same_v<U, IDispatch*>) {
    using I = std::remove_pointer_t<U>;
    IUnknown* unk = (v->vt == VT_DISPATCH) ? static_cast<IUnknown*>(v->pdispVal) : v->punkVal;
    *out = nullptr;
    if (unk) {
      void* p = nullptr;
      HRESULT hr = unk->QueryInterface(IidOf<I>(), &p);
      if (FAILED(hr)) return DISP_E_TYPEMISMATCH;
      *out = static_cast<I*>(p);
      // The QueryInterface reference is either handed over (take) or dropped
      // at once: the VARIANT keeps the object alive for the call.
      if (!take) static_cast<I*>(p)->Release();
    }
    if (take) VariantClear(v);
  } else {
    static_assert(std::is_trivially_copyable_v<U>, "unsupported dispatch value type");
    std::memcpy(static_cast<void*>(out), &v->llVal, sizeof(U));
    if (take) v->vt = VT_EMPTY;
  }
  return S_OK;
}

// Stores a value of type T (whose ownership moves into the VARIANT) as vt.
template <class T>
inline void Wrap(const T& value, VARTYPE vt, VARIANT* out) {
  using U = Bare<T>;
  if constexpr (std::is_same_v<U, VARIANT>) {
    *out = value;
  } else if constexpr (IsInterfacePtr<U>()) {
    out->vt = vt;
    if (vt == VT_DISPATCH) {
      if constexpr (std::is_base_of_v<IDispatch, std::remove_pointer_t<U>>) {
        out->pdispVal = static_cast<IDispatch*>(value);
      }
    } else {
      out->punkVal = static_cast<IUnknown*>(value);
    }
  } else {
    out->llVal = 0;
    std::memcpy(&out->llVal, &value, sizeof(U));
    out->vt = vt;
  }
}

template <class P>
struct ArgHolder {
  using Value = std::conditional_t<ParamType<P>::kIsValue, Bare<P>,
                                   Bare<typename ParamType<P>::Pointee>>;
  Value value{};
  P Get() {
    if constexpr (ParamType<P>::kIsValue) {
      return value;
    } else {
      return &value;
    }
  }
};

template <auto Pmf, class... A, size_t... I>
HRESULT CallMember(IDispatch* self, const Member& m, VARIANT* const* args, UINT* bad_param,
                   ArgList<A...>, std::index_sequence<I...>) {
  using C = typename MemberFn<decltype(Pmf)>::Class;
  std::tuple<ArgHolder<A>...> holders;
  HRESULT hr = S_OK;
  // Bring the inputs in (In: borrowed from the runtime's VARIANT; InOut:
  // taken over, the member may free and replace it).
  auto load = [&](auto& holder, const Param& p, VARIANT* v, UINT index) {
    if (FAILED(hr) || p.dir == Dir::kOut || p.dir == Dir::kRetval) return;
    if (p.vt == VT_VARIANT) {
      if constexpr (std::is_same_v<std::decay_t<decltype(holder.value)>, VARIANT>) {
        holder.value = *v;
        if (p.dir == Dir::kInOut) v->vt = VT_EMPTY;
      }
      return;
    }
    HRESULT e = Extract(v, &holder.value, p.dir == Dir::kInOut);
    if (FAILED(e)) {
      hr = e;
      *bad_param = index;
    }
  };
  (void)load;  // unused for a member without parameters
  (load(std::get<I>(holders), m.params[I], args[I], static_cast<UINT>(I)), ...);
  // Outputs go to the runtime's VARIANTs. On failure only [in, out] values
  // go back (they stay valid and are freed there); [out] values are null by
  // contract.
  bool called = false;
  auto store = [&](auto& holder, const Param& p, VARIANT* v) {
    if (p.dir == Dir::kIn || ((!called || FAILED(hr)) && p.dir != Dir::kInOut)) return;
    if (p.dir == Dir::kInOut && !called && v->vt != VT_EMPTY) return;  // not taken yet
    Wrap(holder.value, p.vt, v);
  };
  (void)store;
  (void)m, (void)args, (void)bad_param;
  if (SUCCEEDED(hr)) {
    hr = (static_cast<C*>(self)->*Pmf)(std::get<I>(holders).Get()...);
    called = true;
  }
  (store(std::get<I>(holders), m.params[I], args[I]), ...);
  return hr;
}

template <auto Pmf>
HRESULT ThunkFor(IDispatch* self, const Member& m, VARIANT* const* args, UINT* bad_param) {
  using F = MemberFn<decltype(Pmf)>;
  return CallMember<Pmf>(self, m, args, bad_param,
                         typename TupleToArgList<typename F::Args>::Type{},
                         std::make_index_sequence<F::kArity>{});
}

// The vtable index of a virtual member function, read from the Itanium C++
// ABI representation of a member pointer; -1 where that is not known.
template <auto Pmf>
int VtableSlotOf() {
#if defined(_MSC_VER)
  return -1;
#else
  struct Rep {
    uintptr_t ptr;
    ptrdiff_t adj;
  };
  static_assert(sizeof(Pmf) == sizeof(Rep), "unexpected member pointer layout");
  auto pmf = Pmf;
  Rep rep;
  std::memcpy(&rep, &pmf, sizeof rep);
#if defined(__arm__) || defined(__aarch64__)
  if (!(rep.adj & 1)) return -1;
  return static_cast<int>(rep.ptr / sizeof(void*));
#else
  if (!(rep.ptr & 1)) return -1;
  return static_cast<int>((rep.ptr - 1) / sizeof(void*));
#endif
#endif
}

template <auto Pmf>
constexpr Member MakeMember(Kind kind, const char* name, DISPID dispid,
                            std::initializer_list<ParamSpec> specs) {
  using F = MemberFn<decltype(Pmf)>;
  static_assert(std::is_base_of_v<IDispatch, typename F::Class>,
                "dispatch members must belong to an interface derived from IDispatch");
  static_assert(F::kArity <= kMaxParams, "too many parameters for a dispatch line");
  Member m;
  m.name = name;
  m.dispid = dispid;
  m.kind = kind;
  m.param_count = static_cast<uint8_t>(F::kArity);
  Require(specs.size() == 0 || specs.size() == F::kArity,
          "give one spec per parameter, or none");
  ResolveAll(m, specs, typename TupleToArgList<typename F::Args>::Type{},
             std::make_index_sequence<F::kArity>{});
  size_t retvals = 0, inputs = 0;
  for (size_t i = 0; i < F::kArity; ++i) {
    if (m.params[i].dir == Dir::kRetval) ++retvals;
    if (m.params[i].dir != Dir::kRetval) ++inputs;
  }
  if (kind == Kind::kPropGet) {
    Require(retvals == 1, "a property get needs a Retval parameter");
  }
  if (kind == Kind::kPropPut || kind == Kind::kPropPutRef) {
    Require(retvals == 0 && inputs >= 1 &&
                m.params[F::kArity > 0 ? F::kArity - 1 : 0].dir == Dir::kIn,
            "a property put takes the new value as its last [in] parameter");
  }
  m.thunk = &ThunkFor<Pmf>;
  m.vtable_slot = &VtableSlotOf<Pmf>;
  return m;
}

}  // namespace internal
}  // namespace dispatch

// Implements the four IDispatch members of interface I from a table.
// I must derive from IDispatch; the class still implements IUnknown and I.
template <class I, const dispatch::Table* kTable>
class DispatchImpl : public I {
 public:
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) override {
    if (!pctinfo) return E_POINTER;
    *pctinfo = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** ppTInfo) override {
    if (!ppTInfo) return E_POINTER;
    *ppTInfo = nullptr;
    return DISP_E_BADINDEX;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID,
                                          DISPID* rgDispId) override {
    return dispatch::GetIDsOfNames(*kTable, riid, rgszNames, cNames, rgDispId);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID, WORD wFlags,
                                   DISPPARAMS* pDispParams, VARIANT* pVarResult,
                                   EXCEPINFO* pExcepInfo, UINT* puArgErr) override {
    return dispatch::Invoke(*kTable, static_cast<IDispatch*>(static_cast<I*>(this)),
                            dispIdMember, riid, wFlags, pDispParams, pVarResult, pExcepInfo,
                            puArgErr);
  }

 protected:
  DispatchImpl() = default;
  ~DispatchImpl() = default;
};

}  // namespace mlr

#define MLR_DISP_LINE_(kind, Interface, method, name, dispid, ...)                        \
  [] {                                                                                    \
    using namespace ::mlr::dispatch::spec;                                                \
    return ::mlr::dispatch::internal::MakeMember<&Interface::method>(kind, name, dispid, \
                                                                     {__VA_ARGS__});      \
  }()

#define MLR_DISP_METHOD(Interface, method, name, dispid, ...) \
  MLR_DISP_LINE_(::mlr::dispatch::Kind::kMethod, Interface, method, name, dispid, __VA_ARGS__)
#define MLR_DISP_PROPGET(Interface, method, name, dispid, ...) \
  MLR_DISP_LINE_(::mlr::dispatch::Kind::kPropGet, Interface, method, name, dispid, __VA_ARGS__)
#define MLR_DISP_PROPPUT(Interface, method, name, dispid, ...) \
  MLR_DISP_LINE_(::mlr::dispatch::Kind::kPropPut, Interface, method, name, dispid, __VA_ARGS__)
#define MLR_DISP_PROPPUTREF(Interface, method, name, dispid, ...)                               \
  MLR_DISP_LINE_(::mlr::dispatch::Kind::kPropPutRef, Interface, method, name, dispid, \
                 __VA_ARGS__)

#define MLR_DISP_TABLE(Interface, members) \
  ::mlr::dispatch::Table { #Interface, members, sizeof(members) / sizeof((members)[0]) }
