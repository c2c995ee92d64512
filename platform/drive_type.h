// The drive-type test hook of GetDriveTypeA (platform/kernel.h): a test makes
// a folder count as a drive of its choice, typically a removable one, without
// such a device. POSIX builds only; the Windows build asks the system.
#pragma once

#include "platform/win.h"

namespace mlr {

// From now on GetDriveTypeA answers `type` for `root` and for every path
// below it ("root/..." or "root\..."), compared as text, without asking the
// system; a drive name ("E:") matches itself. Null or "" clears the hook.
// One root at a time; thread-safe. Only tests set it.
void SetDriveTypeForTesting(const char* root, UINT type);

}  // namespace mlr
