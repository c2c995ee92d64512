// Binding an interface type to its IID, for both builds.
//
//   MLR_DECLARE_IID(IRecording, IID_IRecording)   // at global scope
//   const IID& iid = mlr::IidOf<IRecording>();
//
// mlr::ComPtr::As, MLR_IID_PPV_ARGS and the dispatch helper use the binding,
// so every interface that is queried through them needs one line like the
// above next to its declaration. Using an interface without a binding is a
// compile error (the primary template has no Get()). The standard interfaces
// of platform/win.h are bound at the end of this file.
#pragma once

#include "platform/win.h"

namespace mlr {

template <class Interface>
struct IidTraits;  // specialised by MLR_DECLARE_IID

template <class Interface>
inline const IID& IidOf() {
  return IidTraits<Interface>::Get();
}

}  // namespace mlr

// Must be used at global scope (outside any namespace).
#define MLR_DECLARE_IID(Interface, iid)         \
  namespace mlr {                               \
  template <>                                   \
  struct IidTraits<Interface> {                 \
    static const IID& Get() { return (iid); }   \
  };                                            \
  }

// The (REFIID, void**) pair for QueryInterface/CoCreateInstance from a typed
// out pointer: hr = obj->QueryInterface(MLR_IID_PPV_ARGS(&foo));
#define MLR_IID_PPV_ARGS(pp)                                                         \
  ::mlr::IidOf<typename ::mlr::internal::PointeeOf<decltype(pp)>::Type>(),          \
      reinterpret_cast<void**>(static_cast<typename ::mlr::internal::PointeeOf<     \
                                   decltype(pp)>::Type**>(pp))

namespace mlr {
namespace internal {
template <class T>
struct PointeeOf;
template <class T>
struct PointeeOf<T**> {
  using Type = T;
};
}  // namespace internal
}  // namespace mlr

MLR_DECLARE_IID(IUnknown, IID_IUnknown)
MLR_DECLARE_IID(IDispatch, IID_IDispatch)
MLR_DECLARE_IID(IEnumVARIANT, IID_IEnumVARIANT)
MLR_DECLARE_IID(ISupportErrorInfo, IID_ISupportErrorInfo)
MLR_DECLARE_IID(IErrorInfo, IID_IErrorInfo)
MLR_DECLARE_IID(ICreateErrorInfo, IID_ICreateErrorInfo)
MLR_DECLARE_IID(IClassFactory, IID_IClassFactory)
MLR_DECLARE_IID(IGlobalInterfaceTable, IID_IGlobalInterfaceTable)
MLR_DECLARE_IID(ISequentialStream, IID_ISequentialStream)
MLR_DECLARE_IID(IStream, IID_IStream)
MLR_DECLARE_IID(IEnumSTATSTG, IID_IEnumSTATSTG)
MLR_DECLARE_IID(IStorage, IID_IStorage)
MLR_DECLARE_IID(IPropertySetStorage, IID_IPropertySetStorage)
MLR_DECLARE_IID(IPropertyStorage, IID_IPropertyStorage)
MLR_DECLARE_IID(IEnumSTATPROPSTG, IID_IEnumSTATPROPSTG)
MLR_DECLARE_IID(IEnumSTATPROPSETSTG, IID_IEnumSTATPROPSETSTG)
MLR_DECLARE_IID(IMalloc, IID_IMalloc)
