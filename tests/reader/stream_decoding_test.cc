// Decoding of the recording file's streams, with bytes from the test
// builder's encoders: the rules and quirks that whole files do not show, and
// damaged records.
#include <gtest/gtest.h>

#include <cstring>

#include "reader/channel_properties.h"
#include "reader/event_records.h"
#include "reader/group_config.h"
#include "reader/krf_format.h"
#include "reader/normset_records.h"
#include "reader/path_split.h"
#include "reader/recording_properties.h"
#include "reader/side_records.h"
#include "testing/krf_bytes.h"

namespace mlr::reader {
namespace {

using testing::Bytes;
using testing::TaggedRecords;

RecordingProperties Props(std::vector<uint8_t> b) {
  return DecodeRecordingProperties(b.data(), b.size());
}

// The start: local tags 3-5, UTC tags 8-10 (from the first UTC tag on, later
// local tags are ignored and earlier ones count as UTC), defaults 1999 / 201
// / 43200, and a year of all ones that resets all three.
TEST(RecordingProperties, StartTimeRules) {
  const struct {
    const char* name;
    std::vector<uint8_t> records;
    int32_t year, day;
    double time_of_day;
    bool utc;
  } cases[] = {
      {"empty", {}, 1999, 201, 43200.0, false},
      {"local", TaggedRecords().U32(3, 2001).U32(4, 17).F64(5, 99.5).End().take(), 2001, 17, 99.5, false},
      {"utc year first", TaggedRecords().U32(8, 2005).U32(3, 2001).U32(4, 17).F64(5, 99.5).End().take(), 2005,
       201, 43200.0, true},
      {"utc after local", TaggedRecords().U32(4, 17).U32(8, 2005).End().take(), 2005, 17, 43200.0, true},
      {"year all ones", TaggedRecords().U32(4, 17).F64(5, 5.0).U32(3, 0xFFFFFFFF).End().take(), 1999, 201,
       43200.0, false},
  };
  for (const auto& c : cases) {
    const RecordingProperties p = Props(c.records);
    EXPECT_EQ(p.year, c.year) << c.name;
    EXPECT_EQ(p.day, c.day) << c.name;
    EXPECT_EQ(p.time_of_day, c.time_of_day) << c.name;
    EXPECT_EQ(p.utc, c.utc) << c.name;
  }
}

TEST(RecordingProperties, VersionRules) {
  // The first version wins.
  EXPECT_EQ(Props(TaggedRecords().U32(20, 0x30000).U32(20, 0x10000).End().take()).version,
            0x30000u);
  // A version record of another length sets 0x20000 even when one was known,
  // and its payload is read as the next record: here the payload is a
  // complete tag 7 record.
  std::vector<uint8_t> inner = TaggedRecords().F64(7, 4.0).End().take();
  RecordingProperties p = Props(TaggedRecords()
                                    .U32(20, 0x30000)
                                    .Raw(20, static_cast<uint32_t>(inner.size()), inner)
                                    .take());
  EXPECT_EQ(p.version, 0x20000u);
  EXPECT_EQ(p.time_per_division, 4.0);
  // A version known before the stream is read (the conversion path's
  // 0x30000) is kept, unless the record is malformed.
  std::vector<uint8_t> ok = TaggedRecords().U32(20, 0x20000).End().take();
  EXPECT_EQ(DecodeRecordingProperties(ok.data(), ok.size(), 0x30000).version, 0x30000u);
  std::vector<uint8_t> bad = TaggedRecords().Raw(20, 2, {0, 0}).End().take();
  EXPECT_EQ(DecodeRecordingProperties(bad.data(), bad.size(), 0x30000).version, 0x20000u);
}

TEST(RecordingProperties, UnknownTagsSkippedAndShortRecordsEndTheWalk) {
  std::vector<uint8_t> b = TaggedRecords()
                               .Raw(77, 3, {1, 2, 3})
                               .U32(8, 2010)
                               .F64(7, 2.0)
                               .take();
  b.resize(b.size() - 1);  // the tag 7 payload is short: it is lost, the rest kept
  RecordingProperties p = Props(b);
  EXPECT_EQ(p.year, 2010);
  EXPECT_EQ(p.time_per_division, 1.0);
  // A string whose declared length runs past the stream ends the walk.
  RecordingProperties q = Props(TaggedRecords().U32(8, 2011).Raw(2, 100, {'a', 0}).take());
  EXPECT_EQ(q.year, 2011);
  EXPECT_EQ(q.x_units, u"");
  // Strings end at their first NUL; an odd length still decodes.
  EXPECT_EQ(Props(TaggedRecords().Raw(2, 6, {'k', 0, 0, 0, 'x', 0}).End().take()).x_units, u"k");
  EXPECT_EQ(Props(TaggedRecords().Raw(2, 3, {'a', 0, 'b'}).End().take()).x_units, u"ab");
}

std::vector<uint8_t> Apply(std::vector<uint8_t> b, const VersionStamp& s) {
  if (b.size() < s.offset + s.bytes.size()) b.resize(s.offset + s.bytes.size());
  std::memcpy(b.data() + s.offset, s.bytes.data(), s.bytes.size());
  return b;
}

TEST(VersionStamp, RewritesExistingRecordAndCutsWhatFollows) {
  std::vector<uint8_t> b = TaggedRecords().U32(20, 0x10000).U32(8, 2001).End().take();
  VersionStamp s = PlanVersionStamp(b.data(), b.size());
  EXPECT_FALSE(s.appended);
  EXPECT_EQ(s.offset, 6u);
  RecordingProperties p = Props(Apply(b, s));
  EXPECT_EQ(p.version, 0x20000u);
  EXPECT_EQ(p.year, 1999);  // the year record after the version is cut off

  // A version record of the wrong length gets length 4.
  std::vector<uint8_t> w = TaggedRecords().Raw(20, 2, {1, 2}).U32(1, 0).End().take();
  VersionStamp ws = PlanVersionStamp(w.data(), w.size());
  EXPECT_EQ(ws.offset, 2u);
  std::vector<uint8_t> fixed = Apply(w, ws);
  EXPECT_EQ(fixed[2], 4);
  EXPECT_EQ(Props(fixed).version, 0x20000u);

  // Without a version record the stamp goes before the terminator, or at
  // the end of a list that has none.
  for (bool terminated : {true, false}) {
    TaggedRecords t;
    t.U32(8, 2001);
    if (terminated) t.End();
    const std::vector<uint8_t> a = t.take();
    const VersionStamp as = PlanVersionStamp(a.data(), a.size());
    EXPECT_TRUE(as.appended);
    EXPECT_EQ(as.offset, a.size() - (terminated ? 2 : 0));
    const RecordingProperties ap = Props(Apply(a, as));
    EXPECT_EQ(ap.version, 0x20000u);
    EXPECT_EQ(ap.year, 2001);
  }
}

TEST(GroupConfig, LongUnknownRecordsAreEnteredNotSkipped) {
  // An unknown record of length >= 10000 is not skipped: the walk continues
  // inside its payload, which here starts with a reduction-factor record.
  std::vector<uint8_t> payload = TaggedRecords().U32(0x4000, 50).End().take();
  Bytes b;
  b.Raw(testing::EncodeU32List({1}, true)).Raw(TaggedRecords().Raw(0x99, 10000, payload).take());
  EXPECT_EQ(DecodeGroupConfig(b.data().data(), b.size()).reduction_factor, 50u);
  // Below the limit the same record is skipped.
  Bytes s;
  s.Raw(testing::EncodeU32List({1}, true))
      .Raw(TaggedRecords().Raw(0x99, static_cast<uint32_t>(payload.size()), payload).End().take());
  EXPECT_EQ(DecodeGroupConfig(s.data().data(), s.size()).reduction_factor, 1u);
  // A zero factor reads as 1.
  Bytes z;
  z.Raw(testing::EncodeU32List({}, true)).Raw(TaggedRecords().U32(0x4000, 0).End().take());
  EXPECT_EQ(DecodeGroupConfig(z.data().data(), z.size()).reduction_factor, 1u);
}

TEST(GroupList, EndsAtTerminatorOrShortRead) {
  std::vector<uint8_t> b = testing::EncodeU32List({4, 2, 0xFFFFFFFF, 7}, false);
  EXPECT_EQ(DecodeGroupList(b.data(), b.size()), (std::vector<uint32_t>{4, 2}));
  std::vector<uint8_t> c = testing::EncodeU32List({4, 2}, false);
  c.push_back(1);
  EXPECT_EQ(DecodeGroupList(c.data(), c.size()), (std::vector<uint32_t>{4, 2}));
}

TEST(ChannelProperties, LongUnknownRecordsAreEnteredNotSkipped) {
  // As in a group's "Config01": an unknown record of 10000 bytes or more is
  // entered, so a present flag inside its payload drops the channel.
  std::vector<uint8_t> inner = TaggedRecords().U32(101, 0).End().take();
  std::vector<uint8_t> b = TaggedRecords().Text(0, u"A").Raw(0x300, 10000, inner).take();
  ChannelProperties p = DecodeChannelProperties(b.data(), b.size());
  EXPECT_EQ(p.names[0], u"A");
  EXPECT_EQ(p.present, 0u);
  std::vector<uint8_t> s = TaggedRecords()
                               .Raw(0x300, static_cast<uint32_t>(inner.size()), inner)
                               .End()
                               .take();
  EXPECT_EQ(DecodeChannelProperties(s.data(), s.size()).present, 1u);
}

TEST(Normsets, CountsBeyondTheStreamEndAtLastWholeRecord) {
  std::vector<uint8_t> h = testing::EncodeHNorms({{0, 0.5, 10}, {5, 0.25, 4}});
  h[0] = 200;  // claims 200 records
  h.pop_back();
  auto hn = DecodeHNorms(h.data(), h.size());
  ASSERT_EQ(hn.size(), 1u);
  EXPECT_EQ(hn[0].x_step, 0.5);
  EXPECT_EQ(hn[0].length, 10u);
}

TEST(EventRecords, BookmarksArePacked) {
  std::vector<uint8_t> b = testing::EncodeBookmarks({{1, u"abc"}, {2, u""}, {3, u"z"}});
  auto m = DecodeBookmarks(b.data(), b.size());
  ASSERT_EQ(m.size(), 3u);
  EXPECT_EQ(m[0].text, u"abc");
  EXPECT_EQ(m[1].time, 2);
  EXPECT_EQ(m[2].text, u"z");
  b.resize(b.size() - 2);  // the last text loses its NUL: taken as it stands
  m = DecodeBookmarks(b.data(), b.size());
  ASSERT_EQ(m.size(), 3u);
  EXPECT_EQ(m[2].text, u"z");
  b.pop_back();  // not one whole character left: the record is dropped
  EXPECT_EQ(DecodeBookmarks(b.data(), b.size()).size(), 2u);
}

TEST(EventRecords, TriggersStepBySizeAndStopOnBadSizes) {
  // A zero record size is taken once (its name lies outside the record, so
  // it is empty) and ends the list, however big the count.
  std::vector<uint8_t> z = Bytes().U32(4000000000u).U32(0).U32(2).F64(1).I32(1).U32(1).Text(u"x")
                               .take();
  auto zt = DecodeTriggers(z.data(), z.size());
  ASSERT_EQ(zt.size(), 1u);
  EXPECT_EQ(zt[0].time, 1);
  EXPECT_EQ(zt[0].name, u"");
}

TEST(SideRecords, VoicemarksAndPhysicalChannels) {
  // A voice-mark table cut inside its second record keeps the first.
  testing::VoicemarkSpec v;
  v.bits_per_sample = 16;
  v.channels = 2;
  v.sound.resize(40);
  std::vector<uint8_t> b = testing::EncodeVoicemarkTable({v, v});
  b.pop_back();
  auto vm = DecodeVoicemarks(b.data(), b.size());
  ASSERT_EQ(vm.size(), 1u);
  EXPECT_EQ(vm[0].length, 10u);  // 40 bytes of 16-bit stereo

  std::vector<uint8_t> p = testing::EncodePhysicalChannels(
      {{1, 2, 5, 1, {u"A", u"b1"}}, {3, 4, 0, 0, {u"B"}}});
  p.resize(p.size() - 30);  // the second record's header survives, its names do not all
  auto pc = DecodePhysicalChannels(p.data(), p.size());
  ASSERT_EQ(pc.size(), 2u);
  EXPECT_EQ(pc[1].names[0], u"B");
}

TEST(PathSplit, SplitsAtLastDotThenLastSeparator) {
  PathParts a = SplitRecordingPath("C:\\a.b\\file");
  EXPECT_EQ(a.extension, "b\\file");
  EXPECT_EQ(a.title, "a");
  EXPECT_EQ(a.location, "C:");
  PathParts b = SplitRecordingPath("/data/run 1.krf");
  EXPECT_EQ(b.extension, "krf");
  EXPECT_EQ(b.title, "run 1");
  EXPECT_EQ(b.location, "/data");
  PathParts c = SplitRecordingPath("plain");
  EXPECT_EQ(c.title, "plain");
  EXPECT_EQ(c.location, "");
  EXPECT_EQ(c.extension, "");
  // Numbered stream names are decimal; the reduced stream's factor is signed.
  EXPECT_EQ(FormatName(kGroupPattern, 12), u"ChGroup12");
  EXPECT_EQ(FormatName(kPageSetupPattern, 3), u"PageSetup 3");
  EXPECT_EQ(FormatName(kReducedPattern, 0x80000000u), u"MuxData-2147483648");
}

}  // namespace
}  // namespace mlr::reader
