// Failure statuses of the library as Python exceptions.
//
// Every status that leaves the library as a failure becomes a
// movalegacy.Error (defined in movalegacy/_errors.py) carrying the status
// (unsigned 32-bit), its symbolic name and the library's message text: the
// description of the rich error object the failing call left on the thread
// when there is one (the data functions' numbered messages), else the name.
// Argument errors reported by late binding (DISP_E_TYPEMISMATCH,
// DISP_E_BADPARAMCOUNT, ...) raise movalegacy.ArgumentError, which is both a
// movalegacy.Error and a TypeError.
//
// All functions need the GIL and must run on the thread that made the failing
// call, since they read that thread's error object (GetErrorInfo hands it
// over and clears it).
#pragma once

#include <pybind11/pybind11.h>

#include <string>

#include "platform/win.h"

namespace movalegacy {

// Does nothing for a success status; otherwise raises (throws
// pybind11::error_already_set). `what` names the operation ("open a.krf").
void RaiseIfFailed(HRESULT hr, const std::string& what);

// Raises for `hr` with an explicit message text (an empty text falls back to
// the thread's error object, then to the status name).
[[noreturn]] void RaiseStatus(HRESULT hr, const std::string& what, const std::string& message);

// "STG_E_FILENOTFOUND", "DISP_E_TYPEMISMATCH", "MESSAGE_10104" for the
// library's numbered messages, or "" when the status has no name.
std::string StatusName(HRESULT hr);

// Clears the thread's error object, so that an error object found after a
// call belongs to that call.
void ClearErrorInfo();

}  // namespace movalegacy
