// Status codes as the krf tool prints them: "0x800300FC STG_E_FILENOTFOUND".
#pragma once

#include <string>

#include "platform/win.h"

namespace krf {

// The symbolic name of a status the library returns ("" when unknown).
const char* HResultName(HRESULT hr);
// "0x%08X NAME" (without the name when unknown).
std::string HResultText(HRESULT hr);

}  // namespace krf
