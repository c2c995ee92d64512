// The one place where engine statuses and HRESULTs meet: statuses from the
// file seam come in as HRESULTs (FromHresult), and interface members hand
// statuses out as HRESULTs (ToHresult).
#pragma once

#include "platform/win.h"
#include "storage/status.h"

namespace mlr::storage {

// `io_default` is the code used for a failure the seam did not classify.
Status FromHresult(HRESULT hr, Code io_default, const char* what);
HRESULT ToHresult(const Status& status);
HRESULT ToHresult(Code code);

}  // namespace mlr::storage
