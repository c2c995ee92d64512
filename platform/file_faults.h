// The failing-disk test hook of the file seam (FailWriteForTesting in
// platform/file.h): OpenFile hands every file opened for writing to
// WrapForWriteFaults, which wraps it while the hook names its path.
#pragma once

#include <memory>

#include "platform/file.h"

namespace mlr::internal {

// Replaces *file with a counting wrapper when the hook is set for `path`;
// S_OK, or STG_E_INSUFFICIENTMEMORY (then *file is reset).
HRESULT WrapForWriteFaults(const char* path, std::unique_ptr<File>* file);

}  // namespace mlr::internal
