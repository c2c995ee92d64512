// The test builder's file tree, read back with the reader's decoders.
#include <gtest/gtest.h>

#include "reader/channel_properties.h"
#include "reader/group_config.h"
#include "reader/mux_index.h"
#include "reader/normset_records.h"
#include "reader/recording_properties.h"
#include "testing/krf_builder.h"

namespace mlr::reader {
namespace {

const std::vector<uint8_t>& Stream(const testing::FileTree& t, const std::string& path) {
  const testing::TreeEntry* e = t.Find(path);
  EXPECT_NE(e, nullptr) << path;
  static const std::vector<uint8_t> none;
  return e ? e->bytes : none;
}

TEST(BuilderTree, SampleRecordingDecodes) {
  testing::RecordingSpec spec = testing::SampleRecording();
  testing::FileTree t = testing::BuildTree(spec);
  const auto& intern = Stream(t, "Data/Intern01");
  RecordingProperties p = DecodeRecordingProperties(intern.data(), intern.size());
  EXPECT_TRUE(p.utc);
  EXPECT_EQ(p.year, 2004);
  EXPECT_EQ(p.version, 0x20000u);
  EXPECT_EQ(p.time_per_division, 0.5);

  const auto& cfg = Stream(t, "Data/ChGroup1/Config01");
  GroupConfig g = DecodeGroupConfig(cfg.data(), cfg.size());
  EXPECT_EQ(g.channel_numbers, (std::vector<uint32_t>{1, 2, 4}));
  EXPECT_EQ(g.reduction_factor, 10u);

  const auto& h = Stream(t, "Data/ChGroup1/HNorms02");
  auto hn = DecodeHNorms(h.data(), h.size());
  ASSERT_EQ(hn.size(), 2u);
  EXPECT_EQ(hn[0].length, 1500u);
  EXPECT_EQ(hn[1].length, 700u);

  // Reduced stream: ceil(Length / F) frames of 3 pairs per segment.
  const auto& r = Stream(t, "Data/ChGroup1/MuxData10");
  auto idx = DecodeIndexEntries(r.data() + 4, r.size() - 4, 2, 8);
  ASSERT_EQ(idx.size(), 2u);
  EXPECT_EQ(idx[0].frames, 150);
  EXPECT_EQ(idx[1].frames, 70);
  EXPECT_EQ(static_cast<size_t>(idx[1].offset + idx[1].frames * 12), r.size());

  // The event channel carries bit names and the event flag; the dropped
  // channel of group 3 its present flag 0 and no frame width.
  const auto& ev = Stream(t, "Data/ChGroup1/Channel4/Intern01");
  ChannelProperties c = DecodeChannelProperties(ev.data(), ev.size());
  EXPECT_TRUE(c.is_event());
  EXPECT_EQ(c.names[4], u"Alarm");
  const auto& sp = Stream(t, "Data/ChGroup3/Channel8/Intern01");
  EXPECT_EQ(DecodeChannelProperties(sp.data(), sp.size()).present, 0u);
  const auto& m = Stream(t, "Data/ChGroup3/MuxData02");
  auto midx = DecodeIndexEntries(m.data() + 4, m.size() - 4, 1, 8);
  EXPECT_EQ(midx[0].frames, 27);
}

TEST(BuilderTree, OldFilesGetOldReducedOffsetsAndOverridesApply) {
  testing::RecordingSpec spec = testing::SampleRecording();
  spec.version.reset();
  spec.overrides["Data/Markers01"] = std::nullopt;
  spec.overrides["Data/Extra"] = std::vector<uint8_t>{1, 2};
  testing::FileTree t = testing::BuildTree(spec);
  EXPECT_EQ(t.Find("Data/Markers01"), nullptr);
  ASSERT_NE(t.Find("Data/Extra"), nullptr);
  const auto& r = Stream(t, "Data/ChGroup1/MuxData10");
  auto idx = DecodeIndexEntries(r.data() + 4, r.size() - 4, 2, 8);
  EXPECT_EQ(idx[0].offset, 0);
  EXPECT_TRUE(RepairReducedIndex(&idx, 3, r.size()));
  EXPECT_EQ(idx[0].offset, 20);
}

}  // namespace
}  // namespace mlr::reader
