// The `BitNumber` argument of `Name(BitNumber)` (channel infos and physical
// channels): the VARIANT converted to a 32-bit integer. A failed conversion,
// or an absent optional argument (VT_ERROR), gives 0, the channel's name.
#pragma once

#include "platform/win.h"

namespace mlr::model {

inline LONG BitNumberFromVariant(const VARIANT& bitNumber) {
  VARIANT converted;
  VariantInit(&converted);
  LONG bit = 0;
  if (SUCCEEDED(VariantChangeType(&converted, const_cast<VARIANT*>(&bitNumber), 0, VT_I4))) {
    bit = converted.lVal;
  }
  VariantClear(&converted);
  return bit;
}

}  // namespace mlr::model
