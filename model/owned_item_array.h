// The growable array of a stored collection (groups, channel infos,
// normsets, physical channels, display pages): item pointers in insertion
// order, owned by the array and deleted with it (plain deletion: the items
// are children that forward their reference counts to their owner).
//
// Capacity doubles when full, starting at 1. When the array cannot grow, an
// appended item is not stored: `Append` deletes it and answers false.
//
// Threading: none; stored collections are filled while a recording loads.
#pragma once

#include <new>
#include <vector>

#include "platform/win.h"

namespace mlr::model {

template <class T>
class OwnedItemArray {
 public:
  OwnedItemArray() = default;
  OwnedItemArray(const OwnedItemArray&) = delete;
  OwnedItemArray& operator=(const OwnedItemArray&) = delete;
  ~OwnedItemArray() {
    for (T* item : items_) delete item;
  }

  // Takes ownership of `item` in every case; true when it was stored (its
  // 1-based index is then `size()`).
  bool Append(T* item) {
    try {
      if (items_.size() == items_.capacity()) {
        items_.reserve(items_.empty() ? 1 : items_.capacity() * 2);
      }
      items_.push_back(item);
    } catch (const std::bad_alloc&) {
      delete item;
      return false;
    }
    return true;
  }

  LONG size() const { return static_cast<LONG>(items_.size()); }
  // 1-based; null outside 1..size().
  T* At(LONG index) const {
    if (index < 1 || index > size()) return nullptr;
    return items_[static_cast<size_t>(index - 1)];
  }
  const std::vector<T*>& items() const { return items_; }

 private:
  std::vector<T*> items_;
};

// `Item(Index)` of a stored collection: the item at the 1-based index queried
// for `iid` into *pVal; out of range gives S_OK with null.
template <class T, class Primary>
HRESULT StoredItem(const OwnedItemArray<T>& array, LONG index, REFIID iid, void** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  T* item = array.At(index);
  if (item == nullptr) return S_OK;
  return static_cast<Primary*>(item)->QueryInterface(iid, pVal);
}

HRESULT CreateVariantEnum(IUnknown* const* items, size_t count, IUnknown** ppEnum);

// `_NewEnum` of a stored collection: a snapshot of its items' IDispatch.
template <class T, class Primary>
HRESULT StoredEnum(const OwnedItemArray<T>& array, IUnknown** pVal) {
  if (pVal == nullptr) return E_POINTER;
  *pVal = nullptr;
  std::vector<IUnknown*> items;
  try {
    items.reserve(array.items().size());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  for (T* item : array.items()) items.push_back(static_cast<Primary*>(item));
  return CreateVariantEnum(items.data(), items.size(), pVal);
}

}  // namespace mlr::model
