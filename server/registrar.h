// The registrar: runs a registration script, the small language in which each
// creatable class describes its registry entries.
//
//   script   := { root '{' keys '}' }
//   root     := HKCR | HKCU | HKLM | HKU | HKCC (or the full HKEY_... names)
//   keys     := { key | value }
//   key      := [ ForceRemove | NoRemove | Delete ] name [ '=' s 'text' ]
//               [ '{' keys '}' ]
//   value    := val name '=' s 'text'
//
// Names are bare words (anything up to a blank, so "{GUID}" is a name) or
// quoted with single quotes when they hold blanks; in a quoted text '' stands
// for one quote. Braces and '=' are tokens only when they stand alone.
// Keywords compare case-insensitively. "%NAME%" in a name or text is
// replaced from the variable table ("%%" is one percent sign); an unknown
// variable is an error. Only string values (s) exist.
//
// Registering: Delete deletes the key (with its tree) and ignores anything
// below it; ForceRemove deletes the key's tree first, so that a fresh tree is
// written; every other key is created or opened, its default value and
// named values set, then its sub-keys are processed.
// Unregistering: ForceRemove deletes the key's tree; NoRemove keeps the key
// but processes its sub-keys; a plain key has its sub-keys processed and its
// named values deleted, and is then deleted if no sub-key is left in it
// (keys that others added survive). Missing keys are skipped. Delete does
// nothing.
//
// The whole script is parsed before anything is written: a syntax error
// writes nothing and returns kScriptSyntaxError, with the thread's error
// info describing it ("registration script, line 3: expected '{' after
// HKCR"). Otherwise the first failing registry call stops the run and its
// status is returned (HRESULT_FROM_WIN32); nothing is rolled back.
#pragma once

#include <map>
#include <string>

#include "platform/win.h"

namespace mlr::server {

enum class RegistrarMode { kRegister, kUnregister };

// HRESULT_FROM_WIN32(ERROR_INVALID_DATA).
inline constexpr HRESULT kScriptSyntaxError = static_cast<HRESULT>(0x8007000DL);

// `script` is UTF-8 text; variable names and values are UTF-8.
HRESULT RunRegistrationScript(const std::string& script,
                              const std::map<std::string, std::string>& variables,
                              RegistrarMode mode);

}  // namespace mlr::server
