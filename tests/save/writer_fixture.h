// Helpers of the saver's writer tests: the channel-group writer, the time
// alignment and the collections and recording writers driven on the test's
// own thread (phase after phase, as the save threads would), the target made
// with StgCreateDocfile in a temporary folder, read back through the reader
// (KrfLoader) and as raw streams.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "save/save_alignment.h"
#include "save/save_channel_group.h"

namespace mlr::save::test {

// A stop source whose flag the test sets.
struct TestStop : CSaveStopSource {
  bool stop = false;
  bool StopRequested() const override { return stop; }
};

// What a driven save leaves for the test to look at.
struct DrivenSave {
  std::vector<std::unique_ptr<CSaveChannelGroup>> groups;
  SaveAlignment alignment;
  HRESULT result = E_FAIL;  // S_OK, or the first group's failure
};

class WriterTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string Path(const std::string& name) const { return dir_ + "/" + name; }

  // Saves `channels` into `path`: groups numbered by their first channel,
  // phases 1 to 5 in turn (the clean-up phase on every group after a
  // failure), the recording records and collections after phase 1.
  // `writer` (optional) performs the groups' writes.
  DrivenSave Save(const std::vector<IChannelInfo*>& channels, double start, double end,
                  LONG options, const std::string& path, CSaveWriteQueue* writer = nullptr);

  // OpenRecording through the exported loader class.
  static HRESULT Open(const std::string& path, ComPtr<IRecording>* recording);
  // The bytes of the stream at "/"-separated `path` below the root; false
  // when it does not exist.
  static bool ReadStream(const std::string& file, const std::string& path,
                         std::vector<uint8_t>* bytes);

  std::string dir_;
};

ComPtr<IRecording> MakeMemoryRecording(const model::MemoryRecordingSpec& spec);
ComPtr<IChannelGroup> GroupOf(IRecording* recording, LONG group);
ComPtr<IChannelInfo> ChannelOf(IRecording* recording, LONG group, LONG channel);
ComPtr<IHNorms> HNormsOf(IRecording* recording, LONG group);

// All frames of `group`'s normset `hnorm` for its channels in order (channel
// fastest), through GetMuxData at reduction 1.
std::vector<int16_t> Frames(IRecording* recording, LONG group, LONG hnorm);

std::u16string NameOf(IChannelInfo* channel, LONG bit = 0);

// Little-endian fields of raw stream bytes.
uint32_t U32At(const std::vector<uint8_t>& b, size_t at);
double F64At(const std::vector<uint8_t>& b, size_t at);
std::vector<int16_t> I16s(const std::vector<uint8_t>& b, size_t at, size_t count);

}  // namespace mlr::save::test
