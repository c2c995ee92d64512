// Enumerators of the object model's collections (`_NewEnum`, DISPID -4).
//
// `CURIComEnum<EnumItf, EnumIid, T, Copy>` is the generic enumerator: it owns a
// snapshot of T elements (shared, read-only, between an enumerator and its
// clones) and its own current position. `CURIComEnumVariant` is the
// `IEnumVARIANT` instance every collection hands out; each element is a
// VT_DISPATCH VARIANT holding one item's IDispatch (a null IDispatch when the
// item could not be obtained).
//
// Snapshots are taken when the enumerator is made: later additions to the
// collection do not appear in an existing enumerator.
//
// Ownership and lifetime: an enumerator counts its own references and deletes
// itself at zero; the snapshot is freed (each VARIANT cleared) when the last
// enumerator sharing it goes. Because the VARIANTs hold references on the
// items, a live enumerator keeps the whole recording alive.
//
// `IEnumVARIANT` members:
//   Next(celt, rgelt, pceltFetched): *pceltFetched is first set to 0; celt 0
//     gives E_INVALIDARG, null rgelt E_POINTER, celt != 1 without
//     pceltFetched E_POINTER, an enumerator without a snapshot E_FAIL.
//     Otherwise min(celt, remaining) elements are copied (the caller owns the
//     copies) and the position advances; S_OK when all celt were delivered,
//     S_FALSE when fewer. If a copy fails the elements already copied are
//     cleared, *pceltFetched is 0, the position does not move and the copy's
//     status is returned.
//   Skip(celt): celt 0 gives E_INVALIDARG; advances by min(celt, remaining);
//     S_OK when celt elements were skipped, else S_FALSE.
//   Reset: back to the first element, S_OK.
//   Clone: a new enumerator on the same snapshot at the same position; its
//     position then moves independently. *ppEnum is null on failure.
//
// Threading: one enumerator must not be used by two threads at once; clones
// may be used on different threads (the snapshot is immutable).
#pragma once

#include <atomic>
#include <memory>
#include <new>
#include <vector>

#include "model/live_objects.h"
#include "platform/win.h"

namespace mlr::model {

// Copy policy for VARIANT elements: the destination is uninitialised memory.
struct VariantElementCopy {
  static HRESULT Copy(VARIANT* to, const VARIANT* from) {
    VariantInit(to);
    return VariantCopy(to, const_cast<VARIANT*>(from));
  }
  static void Destroy(VARIANT* v) { VariantClear(v); }
};

// A snapshot of VARIANTs that clears them when it goes.
template <class T, class Copy>
class EnumSnapshot {
 public:
  EnumSnapshot() = default;
  EnumSnapshot(const EnumSnapshot&) = delete;
  EnumSnapshot& operator=(const EnumSnapshot&) = delete;
  ~EnumSnapshot() {
    for (T& element : elements) Copy::Destroy(&element);
  }
  std::vector<T> elements;
};

}  // namespace mlr::model

template <class EnumItf, const IID* EnumIid, class T, class Copy>
class CURIComEnum : public EnumItf {
 public:
  using Snapshot = mlr::model::EnumSnapshot<T, Copy>;

  // An enumerator over `snapshot` (may be null: Next then fails with E_FAIL),
  // starting at `position`. The reference count starts at 0.
  explicit CURIComEnum(std::shared_ptr<const Snapshot> snapshot, size_t position = 0)
      : snapshot_(std::move(snapshot)), position_(position) {}
  virtual ~CURIComEnum() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (riid == IID_IUnknown || riid == *EnumIid) {
      *ppv = static_cast<EnumItf*>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    return static_cast<ULONG>(count_.fetch_add(1, std::memory_order_relaxed) + 1);
  }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }

  HRESULT STDMETHODCALLTYPE Next(ULONG celt, T* rgelt, ULONG* pceltFetched) override {
    if (pceltFetched != nullptr) *pceltFetched = 0;
    if (celt == 0) return E_INVALIDARG;
    if (rgelt == nullptr) return E_POINTER;
    if (celt != 1 && pceltFetched == nullptr) return E_POINTER;
    if (!snapshot_) return E_FAIL;
    const std::vector<T>& elements = snapshot_->elements;
    const size_t remaining = position_ < elements.size() ? elements.size() - position_ : 0;
    const size_t n = celt < remaining ? celt : remaining;
    for (size_t i = 0; i < n; ++i) {
      const HRESULT hr = Copy::Copy(&rgelt[i], &elements[position_ + i]);
      if (FAILED(hr)) {
        for (size_t j = 0; j < i; ++j) Copy::Destroy(&rgelt[j]);
        return hr;
      }
    }
    position_ += n;
    if (pceltFetched != nullptr) *pceltFetched = static_cast<ULONG>(n);
    return n == celt ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE Skip(ULONG celt) override {
    if (celt == 0) return E_INVALIDARG;
    const size_t size = snapshot_ ? snapshot_->elements.size() : 0;
    const size_t remaining = position_ < size ? size - position_ : 0;
    const size_t n = celt < remaining ? celt : remaining;
    position_ += n;
    return n == celt ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE Reset() override {
    position_ = 0;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Clone(EnumItf** ppEnum) override {
    if (ppEnum == nullptr) return E_POINTER;
    *ppEnum = nullptr;
    auto* clone = new (std::nothrow) CURIComEnum(snapshot_, position_);
    if (clone == nullptr) return E_OUTOFMEMORY;
    clone->AddRef();
    *ppEnum = clone;
    return S_OK;
  }

 private:
  mlr::model::LiveObjectToken live_;
  std::atomic<LONG> count_{0};
  std::shared_ptr<const Snapshot> snapshot_;
  size_t position_;
};

using CURIComEnumVariant =
    CURIComEnum<IEnumVARIANT, &IID_IEnumVARIANT, VARIANT, mlr::model::VariantElementCopy>;

namespace mlr::model {

// Builds an enumerator over `count` items (`items[i]` may be null) and
// returns it as IEnumVARIANT in *ppEnum (typed IUnknown** as `_NewEnum`
// wants it). Each item is queried for IDispatch; an item that does not
// answer, or a null one, gives a VT_DISPATCH element holding null.
// E_POINTER for a null ppEnum, E_OUTOFMEMORY when the enumerator or its
// snapshot cannot be allocated; *ppEnum is null on failure.
HRESULT CreateVariantEnum(IUnknown* const* items, size_t count, IUnknown** ppEnum);

}  // namespace mlr::model

// The `_NewEnum` of event collections, whose items are made on request:
// n = the collection's own `get_Count`, then `get_Item(i, ItemItf**)` for
// i = 1..n, each result queried for IDispatch. Parameterised by the
// collection class and the item interface its `get_Item` hands out
// (markers and triggers: IUnknown; bookmarks through IBookmarks: IBookmark;
// voice marks: IUnknown). A derived collection calls
//   CURIComEnumCollectionImpl<MyCollection, IUnknown>::NewEnum(this, pVal)
// from its `get__NewEnum`.
template <class Collection, class ItemItf>
class CURIComEnumCollectionImpl {
 public:
  static HRESULT NewEnum(Collection* collection, IUnknown** pVal) {
    if (pVal == nullptr) return E_POINTER;
    *pVal = nullptr;
    LONG n = 0;
    collection->get_Count(&n);
    if (n < 0) n = 0;
    std::vector<IUnknown*> items;
    try {
      items.resize(static_cast<size_t>(n), nullptr);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    for (LONG i = 1; i <= n; ++i) {
      ItemItf* item = nullptr;
      collection->get_Item(i, &item);
      items[static_cast<size_t>(i - 1)] = item;
    }
    const HRESULT hr = mlr::model::CreateVariantEnum(items.data(), items.size(), pVal);
    for (IUnknown* item : items) {
      if (item != nullptr) item->Release();
    }
    return hr;
  }
};
