// The library's message table: the numbered texts that the exported data
// functions report as rich errors (see error_raiser.h), and the source text
// those errors carry.
//
// The table is fixed data, built into the library; lookups need no lock and
// the returned texts live as long as the process.
#pragma once

#include <cstdint>

namespace mlr {

// Message numbers. The status of a raised message is 0x80040000 | number.
enum MessageNumber : uint32_t {
  kMsgIndexOutOfRange = 10001,
  kMsgRecordingCannotBeReviewed = 10100,
  kMsgRecordingIsReadOnly = 10101,
  kMsgRecordingDeleted = 10102,
  kMsgTimeOutOfRange = 10103,
  kMsgDataNotAvailable = 10104,
  kMsgInvalidChannelInfo = 10200,
  kMsgInvalidNormsetIndex = 10201,
  kMsgNoHorizontalNormsets = 10202,
  kMsgBitNumberOutOfRange = 10300,
  kMsgEventChannelOperation = 10301,
  kMsgNoVerticalNormsets = 10302,
  kMsgNoSamplesInTimezone = 10400,
};

// Publishes the table as the library's string resources (LoadStringA on
// the library's module then finds the texts). Idempotent; thread-safe.
void RegisterMessageStrings();

}  // namespace mlr
