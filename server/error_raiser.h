// The error raiser: turns one of the library's message numbers (see
// error_messages.h) into a failure status and attaches a rich error object
// (IErrorInfo) to the calling thread, so that an automation client sees the
// library's text.
//
// Usage, in an exported function or interface member:
//     return mlr::RaiseError(mlr::kMsgNoHorizontalNormsets, IID_IChannelGroup);
//
// - The status is 0x80040000 | number (severity error, FACILITY_ITF, the
//   message number as code), e.g. 10202 gives 0x800427DA.
// - The error object carries `iid` as its GUID, the source text
//   "Kalvern Technologies Recording Definition" and the message text as its
//   description; a number without a text is described as "Unknown Error".
//   It replaces whatever error object the thread held; GetErrorInfo hands it
//   over (and clears it).
// - The message is looked up in the library's string resources
//   (LoadStringA on the library's own module).
// - Failing to create or attach the error object is ignored: the status is
//   returned all the same. If memory runs out while converting the text, the
//   result is E_OUTOFMEMORY and no error object is attached (nothing throws).
// - Keeps no state: any thread may call it.
#pragma once

#include <cstdint>

#include "platform/win.h"
#include "server/error_messages.h"

namespace mlr {

// The source text of the library's error objects.
extern const OLECHAR kErrorSource[];

// The status a message number stands for: 0x80040000 | number.
constexpr HRESULT MessageStatus(uint32_t number) {
  return static_cast<HRESULT>(0x80040000u | number);
}

[[nodiscard]] HRESULT RaiseError(uint32_t number, const GUID& iid);

}  // namespace mlr
