// The API entry table: process-wide pointers to the library's own exported
// data functions, through which the object model's computing members
// (IChannelGroup::GetScaledMuxData, IRecording::UTCDate, ...) reach them.
//
// Resolution finds the module that exports them, then looks each function up
// by name with GetProcAddress:
//   1. the library registered as the server of the type library (its library
//      identifier, version 1.0, locale 0): QueryPathOfRegTypeLib gives its
//      path, which is converted to the ANSI code page, expanded with
//      GetLongPathNameA (at most 520 characters) and loaded with LoadLibraryA
//      (the handle is kept for the life of the process);
//   2. when the type library is not registered, or its path does not load:
//      the library's own module (mlr::ModuleHandle(): the shared library or
//      DLL, or the executable when the library is linked in statically; such
//      executables export their symbols), so an unregistered library works
//      as well.
// Registered, the table therefore holds the functions of the registered
// library, which is the one COM loaded for a client that created the classes
// by ProgID. (A process that uses one copy of the library while another is
// registered calls that other copy's data functions.) A function the module
// does not export stays null, and the member that needs it answers
// E_NOTIMPL. Resolution happens once; while no module is found it is tried
// again at the next Resolve().
//
// Threading: Resolve() may be called from any thread at any time; concurrent
// callers wait for one resolution, and entries are published atomically, so
// Peek() never sees a torn pointer.
//
// Order of events kept on purpose: IRecording::TotalSize reads its entry with
// Peek(), without resolving, so it answers 0 until some other member has
// resolved the table.
#pragma once

#include "LegacyRecording.h"
#include "platform/win.h"

namespace mlr {

struct ApiEntries {
  decltype(&::GetResampledMuxData) GetResampledMuxData = nullptr;
  decltype(&::GetDisplayData) GetDisplayData = nullptr;
  decltype(&::GetScaledMuxData) GetScaledMuxData = nullptr;
  decltype(&::GetSampleAtTime) GetSampleAtTime = nullptr;
  decltype(&::GetValueAtTime) GetValueAtTime = nullptr;
  decltype(&::RecordingTimeToLocalTime) RecordingTimeToLocalTime = nullptr;
  decltype(&::LocalTimeToRecordingTime) LocalTimeToRecordingTime = nullptr;
  decltype(&::RecordingTimeToDATE) RecordingTimeToDATE = nullptr;
  decltype(&::GetReducedMuxData) GetReducedMuxData = nullptr;
  decltype(&::GetEstimatedTotalSize) GetEstimatedTotalSize = nullptr;
};

namespace api_entry_table {

// Resolves the table if it has not been resolved yet and returns a snapshot
// of it; members that are null are not available.
ApiEntries Resolve();

// The table as it stands, without resolving.
ApiEntries Peek();

// Calls entry `member` of `entries` with `args`, or answers E_NOTIMPL when
// that entry is null.
template <typename Fn, typename... Args>
HRESULT CallWith(const ApiEntries& entries, Fn ApiEntries::*member, Args&&... args) {
  const Fn fn = entries.*member;
  if (!fn) return E_NOTIMPL;
  return fn(static_cast<Args&&>(args)...);
}

// Resolves the table and calls entry `member` with `args`, or answers
// E_NOTIMPL when the library does not provide it:
//     return api_entry_table::Call(&ApiEntries::GetScaledMuxData, this, ...);
template <typename Fn, typename... Args>
HRESULT Call(Fn ApiEntries::*member, Args&&... args) {
  return CallWith(Resolve(), member, static_cast<Args&&>(args)...);
}

}  // namespace api_entry_table
}  // namespace mlr
