// Shared helpers of the reader's object tests: recordings written by the
// test builder into a temporary folder (and copied as fuzz seeds into
// $MLR_CORPUS_DIR/reader), opened through the exported class object.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "testing/krf_builder.h"

namespace mlr::reader::test {

class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Writes `spec` (or `tree`) as <temp>/<name>.krf and returns the path.
  std::string Write(const mlr::testing::RecordingSpec& spec, const std::string& name);
  std::string WriteTree(const mlr::testing::FileTree& tree, const std::string& name);

  // OpenRecording through DllGetClassObject(CLSID_KrfLoader).
  HRESULT Open(const std::string& path, ComPtr<IRecording>* recording);

  ComPtr<IChannelGroup> Group(IRecording* r, LONG index);
  ComPtr<IChannelInfo> Channel(IChannelGroup* g, LONG index);

  struct Mux {
    HRESULT hr = E_FAIL;
    UINT dims = 0;
    LONG lower = -1;
    std::vector<LONG> extents;  // per dimension
    std::vector<int16_t> values;
  };
  Mux GetMux(IChannelGroup* g, const std::vector<IChannelInfo*>& channels, LONG hnorm,
             LONG first, LONG count, LONG reduction);

  std::string dir_;
};

// Frames of `seg` for the kept channels, picked.
std::vector<int16_t> Pick(const std::vector<int16_t>& frames, size_t width,
                          const std::vector<size_t>& picks, size_t first, size_t count);

std::string Name(IChannelInfo* channel, LONG bit = 0);

}  // namespace mlr::reader::test
