// The data phase of a channel group: block sizes, the write jobs handed to
// the writer queue and the pauses on removable targets.
#include <utility>

#include "tests/save/pipeline_fixture.h"
#include "tests/save/writer_fixture.h"

namespace mlr::save::test {
namespace {

// Performs the jobs and records (stream, bytes) of each, in order.
struct RecordingQueue : CSaveWriteQueue {
  std::vector<std::pair<IStream*, size_t>> jobs;
  void Submit(std::unique_ptr<CSaveWriteJob> job) override {
    jobs.emplace_back(job->stream(), job->bytes());
    EXPECT_EQ(job->Perform(), S_OK);
  }
};

TEST(SaveBlockSize, ShrinksWithTheChannelCountAndOnRemovableTargets) {
  ComPtr<IRecording> recording = MakeMemoryRecording([] {
    model::MemoryRecordingSpec spec;
    model::MemoryGroupSpec group;
    group.channels = {model::MemoryChannelSpec{u"x", u"", false, {}, {}}};
    spec.groups = {group};
    return spec;
  }());
  ComPtr<IChannelInfo> channel = Channel(recording.get(), 1, 1);
  struct Case {
    int channels;
    uint32_t fixed, removable;
  };
  for (Case c : {Case{1, 100000, 25000}, Case{10, 100000, 10000}, Case{11, 50000, 9500},
                 Case{12, 50000, 8500}, Case{18, 50000, 6000},
                 Case{19, 30000, 5500}, Case{34, 30000, 3000}, Case{35, 15000, 3000},
                 Case{250, 15000, 500}}) {
    CSaveChannelGroup group(Group(recording.get(), 1).get(), 0, 1);
    for (int i = 0; i < c.channels; ++i) ASSERT_EQ(group.AddChannel(channel.get()), S_OK);
    EXPECT_EQ(group.block_frames(), c.fixed) << c.channels;
    EXPECT_EQ(group.reduced_capacity(), 100000u);
    group.SetRemovable(true);
    EXPECT_EQ(group.block_frames(), c.removable) << c.channels;
    EXPECT_EQ(group.block_frames() % 500, 0u);
    EXPECT_EQ(group.reduced_capacity(), 10000u);
  }
}

// On a removable target each block is followed by a pause on the save's clock
// that makes the block last 500 ms, or of 500 ms when it took longer; a fixed
// target never pauses.
TEST_F(WriterTest, RemovableTargetPausesAfterEachSmallerBlock) {
  model::MemoryRecordingSpec spec;
  model::MemoryGroupSpec group;
  group.channels = {model::MemoryChannelSpec{u"x", u"", false, {}, {}}};
  group.segments = {model::MemorySegment{0.0, 1.0, std::vector<int16_t>(60000, 7)}};
  spec.groups = {group};
  ComPtr<IRecording> source = MakeMemoryRecording(spec);
  ComPtr<IChannelInfo> x = Channel(source.get(), 1, 1);

  struct Case {
    DWORD block_ms, pause_ms;
  };
  for (Case c : {Case{0, 500}, Case{120, 380}, Case{500, 0}, Case{501, 500}, Case{4000, 500}}) {
    testing::ManualClock clock;
    clock.Set(0xFFFFFF00u);  // the tick count wraps during the save
    clock.step = c.block_ms;  // each block reads the clock twice
    RecordingQueue queue;
    DrivenSave save = Save({x.get()}, 0.0, 1e9, kalSRF_SkipReducedStream,
                           Path("removable" + std::to_string(c.block_ms) + ".krf"), &queue, &clock);
    ASSERT_EQ(save.result, S_OK);
    EXPECT_EQ(clock.Pauses(), std::vector<DWORD>(3, c.pause_ms)) << c.block_ms;
    ASSERT_EQ(queue.jobs.size(), 3u);  // 25,000 + 25,000 + 10,000 frames
    EXPECT_EQ(queue.jobs[0].second, size_t{50000});
    EXPECT_EQ(queue.jobs[2].second, size_t{20000});
  }
  // A fixed target: one block of all 60,000 frames, then the reduced frames
  // (120 runs of 500) in one job of their own.
  RecordingQueue queue;
  DrivenSave fixed = Save({x.get()}, 0.0, 1e9, 0, Path("fixed.krf"), &queue);
  ASSERT_EQ(fixed.result, S_OK);
  ASSERT_EQ(queue.jobs.size(), 2u);
  EXPECT_EQ(queue.jobs[0].second, size_t{120000});
  EXPECT_NE(queue.jobs[1].first, queue.jobs[0].first);
  EXPECT_EQ(queue.jobs[1].second, size_t{120 * 4});
  EXPECT_EQ(fixed.group(0).BytesWritten(), 120000 + 120 * 4);
}

}  // namespace
}  // namespace mlr::save::test
