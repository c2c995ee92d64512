// Finding a channel of a recording by the 1-based positions the krf
// commands take on their command line (--group G --channel C).
#pragma once

#include <string>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"

namespace krf {

// Channel `channel` of group `group`. On failure *info is empty, `message`
// says which position leads nowhere ("no channel group 3", "no channel 5 in
// group 1") and the result is the failing status (E_INVALIDARG when the
// position is simply out of range).
HRESULT FindChannel(IRecording* recording, LONG group, LONG channel,
                    mlr::ComPtr<IChannelInfo>* info, std::string* message);

}  // namespace krf
