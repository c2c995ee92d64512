// The channels that a caller's array of channel infos stands for: the array
// that the data functions, the group's data members and the resampler take.
//
// Threading: any thread; the array is locked (SafeArrayAccessData) while it is
// read and must not be destroyed meanwhile.
#pragma once

#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"

namespace mlr::model {

// The channel infos of a one-dimensional array (any lower bound) of
// VT_DISPATCH or VT_UNKNOWN objects, or of VARIANTs holding either, in array
// order, each queried for IChannelInfo. A null element, or an object that is
// not a channel info, gives a null entry; the caller decides what that means.
// E_INVALIDARG for a null array, another number of dimensions or another
// element type; E_OUTOFMEMORY; a failure to lock the array. *out is cleared
// first and stays empty on failure.
HRESULT ChannelInfosOf(SAFEARRAY* array, std::vector<ComPtr<IChannelInfo>>* out);

}  // namespace mlr::model
