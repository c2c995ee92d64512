// The library's message table: the numbered texts that the exported data
// functions report as rich errors (see error_raiser.h). The table itself is
// server/error_messages.inc, shared with the DLL's string-table resource.
//
// The table is fixed data, built into the library; lookups need no lock and
// the returned texts live as long as the process.
#pragma once

#include <cstdint>

namespace mlr {

// Message numbers (server/error_messages.inc). The status of a raised
// message is 0x80040000 | number.
enum MessageNumber : uint32_t {
#define MLR_MESSAGE(number, name, text) name = number,
#include "server/error_messages.inc"
#undef MLR_MESSAGE
};

// Publishes the table as the library's string resources (LoadStringA on
// the library's module then finds the texts). Idempotent; thread-safe.
void RegisterMessageStrings();

}  // namespace mlr
