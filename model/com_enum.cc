#include "model/com_enum.h"

namespace mlr::model {

HRESULT CreateVariantEnum(IUnknown* const* items, size_t count, IUnknown** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  *ppEnum = nullptr;
  std::shared_ptr<CURIComEnumVariant::Snapshot> snapshot;
  try {
    snapshot = std::make_shared<CURIComEnumVariant::Snapshot>();
    snapshot->elements.reserve(count);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  for (size_t i = 0; i < count; ++i) {
    VARIANT element;
    VariantInit(&element);
    element.vt = VT_DISPATCH;
    element.pdispVal = nullptr;
    if (items[i] != nullptr) {
      IDispatch* dispatch = nullptr;
      if (SUCCEEDED(items[i]->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch)))) {
        element.pdispVal = dispatch;  // the element owns this reference
      }
    }
    snapshot->elements.push_back(element);  // capacity reserved: cannot throw
  }
  auto* enumerator = new (std::nothrow) CURIComEnumVariant(std::move(snapshot));
  if (enumerator == nullptr) return E_OUTOFMEMORY;
  enumerator->AddRef();
  IEnumVARIANT* result = nullptr;
  const HRESULT hr = enumerator->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&result));
  enumerator->Release();
  if (SUCCEEDED(hr)) *ppEnum = result;
  return hr;
}

}  // namespace mlr::model
