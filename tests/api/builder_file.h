// Recordings written by the test builder, opened read-only through the
// reader, for the data-function tests.
#pragma once

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "testing/krf_builder.h"

namespace mlr::api::test {

// Writes `spec` to a temporary file, opens it read-only and removes the
// file (the open storage keeps it); null, with a test failure, when that
// does not work.
ComPtr<IRecording> OpenBuilderFile(const mlr::testing::RecordingSpec& spec);

}  // namespace mlr::api::test
