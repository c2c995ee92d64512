// Helpers of the saver's writer tests: a save model (CSaveRecording) driven
// on the test's own thread, phase after phase as the save threads would, into
// a target made with StgCreateDocfile in the test's temporary folder; read
// back through the reader (tests/reader/reader_fixture.h) and as raw streams.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/memory_recording.h"
#include "save/save_recording.h"
#include "tests/reader/reader_fixture.h"

namespace mlr::save::test {

using model::MemoryChannelSpec;
using model::MemoryGroupSpec;
using model::MemoryRecordingSpec;
using model::MemorySegment;
using reader::test::Channel;
using reader::test::ChannelList;
using reader::test::CollectionOf;
using reader::test::Group;
using reader::test::MakeMemoryRecording;
using reader::test::Name;
using reader::test::Open;
using reader::test::ReadStream;
using reader::test::TriggerChannel;

// A stop source whose flag the test sets.
struct TestStop : CSaveStopSource {
  bool stop = false;
  bool StopRequested() const override { return stop; }
};

// What a driven save leaves for the test to look at.
struct DrivenSave {
  std::unique_ptr<CSaveRecording> model = std::make_unique<CSaveRecording>();
  HRESULT result = E_FAIL;  // S_OK, or the first failure
  const CSaveObject& group(size_t i) const { return *model->groups().at(i); }
};

class WriterTest : public reader::test::ReaderTest {
 protected:
  // Saves `channels` into `path` through a CSaveRecording: Align, the
  // groups' storages, phases 1 to 5 in turn with Gather and WriteRecording
  // after phase 1, the clean-up phase on every group after a failure.
  // `writer` (optional) performs the groups' writes; with `removable` the
  // target counts as removable and the groups pause on that clock.
  static DrivenSave Save(const std::vector<IChannelInfo*>& channels, double start, double end,
                         LONG options, const std::string& path, CSaveWriteQueue* writer = nullptr,
                         const CSaveClock* removable = nullptr);
  // A new compound file at `path` with its "Data" storage.
  static void CreateTarget(const std::string& path, ComPtr<IStorage>* root, ComPtr<IStorage>* data);
};

// A builder file at `path`: one group of `channels` channels whose normset
// claims `frames` frames at 1 us while the file stores ten.
void WriteSparseRecording(const std::string& path, uint32_t channels, uint32_t frames);
// Every channel of `r`, group after group; `keep` holds the references.
std::vector<IChannelInfo*> AllChannels(IRecording* r, std::vector<ComPtr<IChannelInfo>>* keep);

// All frames of `group`'s normset `hnorm` for its channels in order (channel
// fastest), through GetMuxData at reduction 1.
std::vector<int16_t> Frames(IRecording* recording, LONG group, LONG hnorm);

// Little-endian fields of raw stream bytes.
uint32_t U32At(const std::vector<uint8_t>& b, size_t at);
double F64At(const std::vector<uint8_t>& b, size_t at);

}  // namespace mlr::save::test
