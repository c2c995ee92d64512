// Handing out a collection's item object through an `IUnknown**` Item slot,
// shared by the event collections (triggers, markers, bookmarks), whose
// items are made anew on every Item call.
//
// HandOutItem<Face>(item, pVal): `item` is a freshly made item object (count
// 0) or null when it could not be made. A made item gets one reference and
// is stored in *pVal as its `Face` pointer (the item's own interface, which
// the IUnknown slot then holds); on null *pVal is left as the caller set it
// (null). Always S_OK: an item that could not be made is answered with null,
// as the collections document. The caller checks pVal and the index first.
//
// Threading: none of its own.
#pragma once

#include "platform/win.h"

namespace mlr::model {

template <class Face, class Item>
HRESULT HandOutItem(Item* item, IUnknown** pVal) {
  if (item == nullptr) return S_OK;
  item->AddRef();
  *pVal = static_cast<Face*>(item);
  return S_OK;
}

}  // namespace mlr::model
