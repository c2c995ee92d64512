// Pieces the krf commands share: running a command body with the
// automation runtime initialised, opening the recording a command names
// (read-only), and finding a channel by the 1-based positions given on the
// command line (--group G --channel C).
#pragma once

#include <functional>
#include <string>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"

namespace krf {

// A runner that calls `body` between CoInitializeEx (multithreaded) and
// CoUninitialize and answers its exit status.
std::function<int()> WithCom(std::function<int()> body);

// Opens `file` read-only into *recording (krf::OpenForInspection). On
// failure reports it (one line on standard error) and answers false with
// *exit_status set to 1.
bool OpenOrReport(const std::string& file, mlr::ComPtr<IRecording>* recording, int* exit_status);

// Channel `channel` of group `group`. On failure *info is empty, `message`
// says which position leads nowhere ("no channel group 3", "no channel 5 in
// group 1") and the result is the failing status (E_INVALIDARG when the
// position is simply out of range).
HRESULT FindChannel(IRecording* recording, LONG group, LONG channel,
                    mlr::ComPtr<IChannelInfo>* info, std::string* message);

// OpenOrReport, then FindChannel; a channel that leads nowhere is reported
// too. On failure answers false with *exit_status set to 1.
bool OpenChannelOrReport(const std::string& file, LONG group, LONG channel,
                         mlr::ComPtr<IRecording>* recording, mlr::ComPtr<IChannelInfo>* info,
                         int* exit_status);

}  // namespace krf
