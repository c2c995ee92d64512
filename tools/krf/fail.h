// Error output of the krf subcommands: one line on standard error with what
// failed, the status in hex and its name, e.g.
//   krf: open rec.krf: 0x80030002 STG_E_FILENOTFOUND
// Fail returns the exit status to use (1).
#pragma once

#include "platform/win.h"

#include <string>

namespace krf {

int Fail(const std::string& what, HRESULT hr);
// The symbolic name of a status ("STG_E_FILENOTFOUND"), or "" if unknown.
const char* HresultName(HRESULT hr);

}  // namespace krf
