// GetMuxData and GetBestReductionFactor over builder files: shapes, the ends
// of a normset, argument checks, the offset repair of old reduced streams,
// hostile indexes and concurrent readers.
#include <array>
#include <thread>

#include "tests/reader/reader_fixture.h"

namespace mlr::reader::test {
namespace {

using mlr::testing::GroupSpec;
using mlr::testing::RecordingSpec;

// One group of three analog channels (numbers 5, 6, 9), two segments, with
// a reduced stream at factor `f`.
RecordingSpec ThreeChannels(uint32_t f) {
  RecordingSpec spec;
  GroupSpec g;
  g.number = 2;
  g.reduction_factor = f;
  for (uint32_t n : {5u, 6u, 9u}) {
    mlr::testing::ChannelSpec c;
    c.number = n;
    c.name = u"C" + std::u16string(1, static_cast<char16_t>(u'0' + n));
    c.unit = u"V";
    c.vnorms = {{0, 0, 1}};
    g.channels.push_back(c);
  }
  g.hnorms = {{0, 0.01, 0}, {100, 0.01, 0}};
  for (int seg = 0; seg < 2; ++seg) {
    std::vector<int16_t> frames;
    const int n = seg == 0 ? 5003 : 17;
    for (int i = 0; i < n; ++i) {
      for (int c = 0; c < 3; ++c) frames.push_back(static_cast<int16_t>((i * 7 + c * 1000 + seg) % 30011 - 15000));
    }
    g.segments.push_back(frames);
  }
  spec.groups = {g};
  return spec;
}

class MuxDataTest : public ReaderTest {
 protected:
  void OpenSpec(const RecordingSpec& spec, const std::string& name) {
    spec_ = spec;
    ASSERT_EQ(Open(Write(spec, name), &recording_), S_OK);
    group_ = Group(recording_.get(), 1);
    ASSERT_TRUE(group_);
    for (LONG i = 1; i <= 3; ++i) channels_.push_back(Channel(group_.get(), i));
  }
  const std::vector<int16_t>& Seg(size_t i) const { return spec_.groups[0].segments[i]; }

  RecordingSpec spec_;
  ComPtr<IRecording> recording_;
  ComPtr<IChannelGroup> group_;
  std::vector<ComPtr<IChannelInfo>> channels_;
};

// A normset longer than what its stream holds: the frames past the stream's
// end read as -32768, whether all channels are read in place or picked, and
// the reduced pairs likewise (the result arrays start uninitialised, so this
// also checks that every element is written).
TEST_F(MuxDataTest, FramesPastTheStreamEndReadAsAbsent) {
  RecordingSpec spec = ThreeChannels(4);
  spec.groups[0].hnorms[1].length = 40;
  OpenSpec(spec, "past_end");
  std::vector<int16_t> all = Pick(Seg(1), 3, {0, 1, 2}, 0, 17);
  all.resize(40 * 3, -32768);
  Mux in_place = GetMux(group_.get(), {channels_[0].get(), channels_[1].get(), channels_[2].get()}, 2,
                        1, 40, 1);
  ASSERT_EQ(in_place.hr, S_OK);
  EXPECT_EQ(in_place.values, all);
  // Picked in another order, over more than one 4096-frame block: channels fastest.
  Mux two = GetMux(group_.get(), {channels_[2].get(), channels_[0].get()}, 1, 1, 5000, 1);
  EXPECT_EQ(two.extents, (std::vector<LONG>{2, 5000}));
  EXPECT_EQ(two.values, Pick(Seg(0), 3, {2, 0}, 0, 5000));
  std::vector<int16_t> one = Pick(Seg(1), 3, {2}, 10, 7);
  one.resize(30, -32768);
  Mux picked = GetMux(group_.get(), {channels_[2].get()}, 2, 11, 100, 1);
  ASSERT_EQ(picked.hr, S_OK);
  EXPECT_EQ(picked.values, one);
  // 17 frames make 5 stored pairs at factor 4; the normset asks for 10.
  Mux reduced = GetMux(group_.get(), {channels_[1].get()}, 2, 1, 10, 4);
  ASSERT_EQ(reduced.hr, S_OK);
  ASSERT_EQ(reduced.values.size(), 20u);
  for (size_t i = 10; i < 20; ++i) EXPECT_EQ(reduced.values[i], -32768) << i;
  for (size_t i = 0; i < 10; i += 2) EXPECT_GE(reduced.values[i], reduced.values[i + 1]) << i;
}

// Item counts at and past the end of a normset (17 frames; factor 4) and of
// an empty one: what is not stored reads as an empty result, not an error.
TEST_F(MuxDataTest, ItemCountsAtAndPastTheEnd) {
  RecordingSpec spec = ThreeChannels(4);
  spec.groups[0].hnorms.push_back({200, 0.01, 0});
  spec.groups[0].segments.push_back({});
  OpenSpec(spec, "ends");
  struct Case {
    LONG hnorm, first, count, reduction;
    LONG items;
  } cases[] = {
      {2, 17, 5, 1, 1}, {2, 18, 5, 1, 0}, {2, 18, 5, 4, 1}, {2, 20, 5, 4, 1},
      {2, 21, 5, 4, 0}, {2, 1000, 5, 4, 0}, {2, 1, 0, 1, 0}, {2, 1, -3, 1, 0},
      {2, 1, -3, 4, 0}, {3, 1, 5, 1, 0}, {3, 1, 5, 4, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "hnorm " << c.hnorm << " first " << c.first << " count "
                                      << c.count << " reduction " << c.reduction);
    for (size_t width : {1, 2}) {
      std::vector<IChannelInfo*> asked = {channels_[0].get(), channels_[2].get()};
      asked.resize(width);
      Mux mux = GetMux(group_.get(), asked, c.hnorm, c.first, c.count, c.reduction);
      ASSERT_EQ(mux.hr, S_OK);
      // One channel at full rate is a vector from 0; anything else two dimensions from 1.
      ASSERT_EQ(mux.extents.size(), width == 1 && c.reduction == 1 ? 1u : 2u);
      EXPECT_EQ(mux.lowers[0], width == 1 && c.reduction == 1 ? 0 : 1);
      EXPECT_EQ(mux.extents.back(), c.items);
      EXPECT_EQ(mux.values.size(), width * static_cast<size_t>(c.items) * (c.reduction == 1 ? 1 : 2));
    }
  }
  // The item just past the end at factor 4 is the stored pair that holds
  // frame 17 (the fifth of 17 / 4 rounded up).
  Mux whole = GetMux(group_.get(), {channels_[1].get()}, 2, 1, 5, 4);
  Mux past = GetMux(group_.get(), {channels_[1].get()}, 2, 18, 5, 4);
  ASSERT_EQ(whole.values.size(), 10u);
  EXPECT_EQ(past.values, std::vector<int16_t>(whole.values.begin() + 8, whole.values.end()));

  // The errors: a start or reduction below 1, a bad normset index, no list.
  for (const auto& [hnorm, first, reduction] :
       {std::array<LONG, 3>{1, 0, 1}, {1, -5, 1}, {1, 1, 0}, {0, 1, 1}, {4, 1, 1}}) {
    EXPECT_EQ(GetMux(group_.get(), {channels_[0].get()}, hnorm, first, 1, reduction).hr, E_INVALIDARG)
        << hnorm << " " << first << " " << reduction;
  }
  SAFEARRAY* list = nullptr;
  SAFEARRAY* result = nullptr;
  EXPECT_EQ(group_->GetMuxData(&list, 1, 1, 1, 1, nullptr), E_POINTER);
  EXPECT_EQ(group_->GetMuxData(&list, 1, 1, 1, 1, &result), E_INVALIDARG);
}

TEST_F(MuxDataTest, OffsetRepairOfOldReducedStreams) {
  RecordingSpec spec = ThreeChannels(10);
  spec.version.reset();  // unversioned: the builder writes old-style offsets
  OpenSpec(spec, "old");
  std::vector<int16_t> reduced = mlr::testing::ReduceFrames(Seg(1), 3, {false, false, false}, 10);
  Mux red = GetMux(group_.get(), {channels_[2].get()}, 2, 11, 1, 10);
  EXPECT_EQ(red.values, (std::vector<int16_t>{reduced[6 + 4], reduced[6 + 5]}));
  // The best factor: a multiple of the stored one, or what was asked below it.
  LONG f = 25;
  group_->GetBestReductionFactor(1, &f);
  EXPECT_EQ(f, 20);
  f = 9;
  group_->GetBestReductionFactor(1, &f);
  EXPECT_EQ(f, 9);
  EXPECT_EQ(group_->GetBestReductionFactor(1, nullptr), E_POINTER);

  // One byte more: the offsets are used as stored (so they point into the
  // index), and the data read differ.
  testing::FileTree tree = testing::BuildTree(spec);
  for (auto& e : tree.entries) {
    if (e.path == "Data/ChGroup2/MuxData10") e.bytes.push_back(0);
  }
  ComPtr<IRecording> r2;
  ASSERT_EQ(Open(WriteTree(tree, "old_plus_one"), &r2), S_OK);
  ComPtr<IChannelGroup> g2 = Group(r2.get(), 1);
  Mux off = GetMux(g2.get(), {Channel(g2.get(), 3).get()}, 2, 11, 1, 10);
  ASSERT_EQ(off.hr, S_OK);
  EXPECT_NE(off.values, red.values);

  // Without a reduced stream the factor is 1, whatever the group's settings say.
  spec.groups[0].write_reduced = false;
  ComPtr<IRecording> r3;
  ASSERT_EQ(Open(Write(spec, "no_reduced"), &r3), S_OK);
  f = 25;
  Group(r3.get(), 1)->GetBestReductionFactor(1, &f);
  EXPECT_EQ(f, 25);
}

TEST_F(MuxDataTest, ConcurrentReadersGetTheirOwnFrames) {
  OpenSpec(ThreeChannels(1), "threads");
  std::vector<std::thread> threads;
  std::vector<int> ok(4, 0);  // not vector<bool>: its bits share words across threads
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      bool all = true;
      for (int round = 0; round < 30; ++round) {
        const LONG first = 1 + (t * 977 + round * 131) % 4000;
        Mux m = GetMux(group_.get(), {channels_[static_cast<size_t>(t % 3)].get()}, 1, first, 700, 1);
        all = all && m.values == Pick(Seg(0), 3, {static_cast<size_t>(t % 3)},
                                      static_cast<size_t>(first - 1), 700);
      }
      ok[static_cast<size_t>(t)] = all ? 1 : 0;
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(ok, std::vector<int>(4, 1));
}

TEST_F(MuxDataTest, HostileIndexesReadAsAbsentSamples) {
  // A full-rate index whose first entry points before the stream, whose
  // second points far beyond it, and that claims more segments than it holds;
  // and a reduced index whose offset plus frames overflows.
  RecordingSpec spec = ThreeChannels(4);
  mlr::testing::Bytes full;
  full.U32(3).I32(-8).I32(5003).I32(0x7FFFFFF0).I32(17);
  for (int i = 0; i < 30; ++i) full.I16(static_cast<int16_t>(i));
  spec.overrides["Data/ChGroup2/MuxData02"] = full.take();
  mlr::testing::Bytes reduced;
  reduced.U32(2).I32(0x7FFFFFFF).I32(0x7FFFFFFF).I32(-1).I32(-1);
  spec.overrides["Data/ChGroup2/MuxData4"] = reduced.take();
  OpenSpec(spec, "hostile_index");
  const std::vector<IChannelInfo*> picked = {channels_[2].get(), channels_[0].get()};
  for (LONG hnorm : {1, 2}) {
    for (LONG reduction : {1, 4}) {
      Mux all = GetMux(group_.get(), {channels_[0].get(), channels_[1].get(), channels_[2].get()},
                       hnorm, 1, 6000, reduction);
      Mux some = GetMux(group_.get(), picked, hnorm, 2, 6000, reduction);
      ASSERT_EQ(all.hr, S_OK) << hnorm << " " << reduction;
      ASSERT_EQ(some.hr, S_OK) << hnorm << " " << reduction;
      for (int16_t v : all.values) ASSERT_EQ(v, -32768);
      for (int16_t v : some.values) ASSERT_EQ(v, -32768);
    }
  }
}

}  // namespace
}  // namespace mlr::reader::test
