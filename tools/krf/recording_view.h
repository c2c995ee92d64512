// Opening a recording for the krf commands and describing it.
//
// `OpenForInspection` opens the file read-only and builds the recording on
// that storage, so inspection never changes a file; failures come back as
// one message naming the problem ("no such file", "not a compound file",
// "no \"Data\" storage", ...) and the status.
//
// `DescribeRecording` walks the recording through its automation interfaces
// only (as any client would) and returns its description as JSON: the
// member names as keys, numbers as doubles (void numbers as null).
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"

namespace krf {

struct OpenError {
  std::string message;
  HRESULT status = S_OK;
};

// On failure *recording is empty and `error` says why.
bool OpenForInspection(const std::string& path, mlr::ComPtr<IRecording>* recording,
                       OpenError* error);

// Prints "krf: <file>: <message>: 0x... NAME" to standard error (krf::Fail);
// returns the exit status 1.
int ReportError(const std::string& file, const std::string& message, HRESULT status);

nlohmann::json DescribeRecording(IRecording* recording);

// A double as JSON: null for the void number and for values JSON cannot
// hold; otherwise the number, printed so that it reads back the same.
nlohmann::json Number(double value);

// The shortest decimal text that reads back as the same double.
std::string RoundTrip(double value);

// BSTR to UTF-8 (null is empty).
std::string Utf8(const OLECHAR* text);

// A channel's name (its Name with index 0) as UTF-8; empty when it has none
// or the call fails.
std::string ChannelName(IChannelInfo* info);

}  // namespace krf
