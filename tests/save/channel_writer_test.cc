// The channel-group writer, driven phase by phase into a compound file and
// read back through the reader and as raw streams.
#include <array>
#include <filesystem>
#include <tuple>

#include "testing/krf_bytes.h"
#include "tests/save/writer_fixture.h"

namespace mlr::save::test {
namespace {

// Deterministic samples that exercise both signs and every bit.
std::vector<int16_t> Samples(size_t frames, size_t channels, uint32_t seed) {
  std::vector<int16_t> out(frames * channels);
  uint32_t x = seed;
  for (auto& v : out) {
    x = x * 1103515245u + 12345u;
    v = static_cast<int16_t>(x >> 16);
  }
  return out;
}

// Group 1: "Volt" (two vertical normsets), "Amp", event channel "Events"
// (bits "Start", "Stop"); segments of 1,234 frames at 0 s and 700 frames
// at 2 s, 1 ms apart. Group 2: 12 channels, 150 frames at 10 ms from 0 s.
MemoryRecordingSpec TwoGroupSpec() {
  MemoryRecordingSpec spec;
  spec.comment = u"two groups";
  spec.xunits = u"s";
  spec.utc_year = 2020;
  spec.utc_year_day = 100;
  spec.utc_time_of_day = 3600.0;
  MemoryGroupSpec a;
  MemoryChannelSpec volt{u"Volt", u"V", false, {}, {{0.0, 0.5, 0.0}, {1.0, 0.25, 1.5}}};
  MemoryChannelSpec amp{u"Amp", u"A", false, {}, {{-1.0, 0.125, 0.0}}};
  MemoryChannelSpec events{u"Events", u"", true, {u"Start", u"Stop"}, {}};
  a.channels = {volt, amp, events};
  a.segments = {MemorySegment{0.0, 0.001, Samples(1234, 3, 1)},
                MemorySegment{2.0, 0.001, Samples(700, 3, 2)}};
  MemoryGroupSpec b;
  for (int c = 1; c <= 12; ++c) {
    b.channels.push_back(MemoryChannelSpec{u"B" + std::u16string(1, char16_t(u'a' + c)), u"mV",
                                           false, {}, {{0.0, 1.0, 0.0}}});
  }
  b.segments = {MemorySegment{0.0, 0.01, Samples(150, 12, 3)}};
  spec.groups = {a, b};
  spec.markers = {0.5, 2.5};
  spec.bookmarks = {{0.25, u"AB"}, {1.9, u""}};
  spec.triggers = {{0.3, kalTriggerSrcChannel, u"Ch3", 1, 3},
                   {1.0, kalTriggerSrcChannel, u"B1", 2, 1},
                   {2.1, kalTriggerSrcManual, u"Man", 0, 0}};
  return spec;
}

struct HNormValues {
  double start, step;
  LONG length;
};
std::vector<HNormValues> HNormList(IRecording* r, LONG group) {
  std::vector<HNormValues> out;
  ComPtr<IHNorms> hnorms;
  Group(r, group)->get_HNorms(hnorms.put());
  LONG count = 0;
  hnorms->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IHNorm> h;
    HNormValues v{};
    hnorms->get_Item(i, h.put());
    h->get_StartTime(&v.start);
    h->get_XStep(&v.step);
    h->get_Length(&v.length);
    out.push_back(v);
  }
  return out;
}

std::vector<std::array<double, 3>> VNormList(IChannelInfo* channel) {
  std::vector<std::array<double, 3>> out;
  ComPtr<IVNorms> vnorms;
  LONG count = 0;
  channel->get_VNorms(vnorms.put());
  vnorms->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IVNorm> v;
    std::array<double, 3> row{};
    vnorms->get_Item(i, v.put());
    v->get_StartTime(&row[0]);
    v->get_Y0(&row[1]);
    v->get_YStep(&row[2]);
    out.push_back(row);
  }
  return out;
}

std::u16string YUnits(IChannelInfo* channel) {
  BSTR units = nullptr;
  channel->get_YUnits(&units);
  std::u16string text = units ? units : u"";
  SysFreeString(units);
  return text;
}

std::vector<double> Times(IRecording* r, kalRecordingCollection type) {
  std::vector<double> out;
  ComPtr<ITimemarks> marks = CollectionOf<ITimemarks>(r, type);
  LONG count = 0;
  if (!marks || FAILED(marks->get_Count(&count))) return out;
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IUnknown> item;
    double t = 0;
    marks->get_Item(i, item.put());
    item.As<ITimemark>()->get_Time(&t);
    out.push_back(t);
  }
  return out;
}

TEST_F(WriterTest, WholeRecordingReadsBackWithSamplesNormsetsNamesAndReducedStream) {
  ComPtr<IRecording> source = MakeMemoryRecording(TwoGroupSpec());
  std::vector<ComPtr<IChannelInfo>> keep;
  const std::string path = Path("whole.krf");
  DrivenSave save = Save(AllChannels(source.get(), &keep), 0.0, 100.0, 0, path);
  ASSERT_EQ(save.result, S_OK);
  // Left for the interoperability test, which reads it with olefile and
  // libgsf and checks the reduced streams, the application name and the
  // comment.
  std::error_code ec;
  std::filesystem::create_directories(MLR_BINARY_DIR "/save_interop", ec);
  std::filesystem::copy_file(path, MLR_BINARY_DIR "/save_interop/saved.krf",
                             std::filesystem::copy_options::overwrite_existing, ec);
  EXPECT_FALSE(ec) << ec.message();

  std::vector<uint8_t> config;
  ASSERT_TRUE(ReadStream(path, "Data/ChGroup1/Config01", &config));
  EXPECT_EQ(config, (mlr::testing::Bytes().U32(1).U32(2).U32(3).U32(0xFFFFFFFF)
                         .U16(0x4000).U32(4).U32(500).U16(0xFFFF).take()));

  ComPtr<IRecording> saved;
  ASSERT_EQ(Open(path, &saved), S_OK);
  SHORT year = 0, day = 0;
  double tod = 0;
  saved->get_UTCYear(&year);
  saved->get_UTCYearDay(&day);
  saved->get_UTCTimeOfDay(&tod);
  EXPECT_EQ(std::make_tuple(year, day, tod), std::make_tuple(SHORT{2020}, SHORT{100}, 3600.0));

  for (LONG g = 1; g <= 2; ++g) {
    auto want = HNormList(source.get(), g), got = HNormList(saved.get(), g);
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
      EXPECT_DOUBLE_EQ(got[i].start, want[i].start);
      EXPECT_DOUBLE_EQ(got[i].step, want[i].step);
      EXPECT_EQ(got[i].length, want[i].length);
      EXPECT_EQ(Frames(saved.get(), g, LONG(i + 1)), Frames(source.get(), g, LONG(i + 1)));
    }
    for (LONG c = 1; Channel(source.get(), g, c); ++c) {
      ComPtr<IChannelInfo> s = Channel(source.get(), g, c), d = Channel(saved.get(), g, c);
      ASSERT_TRUE(d);
      VARIANT_BOOL se = 0, de = 0;
      s->get_EventChannel(&se);
      d->get_EventChannel(&de);
      EXPECT_EQ(se, de);
      for (LONG bit = se ? 1 : 0; bit <= (se ? 16 : 0); ++bit) {
        EXPECT_EQ(Name(d.get(), bit), Name(s.get(), bit)) << g << "/" << c << " bit " << bit;
      }
      EXPECT_EQ(YUnits(d.get()), YUnits(s.get()));
      EXPECT_EQ(VNormList(d.get()), VNormList(s.get()));
    }
  }

  // The trigger on group 2 keeps its link.
  ComPtr<IChannelInfo> linked = TriggerChannel(saved.get(), 2);
  ASSERT_TRUE(linked);
  EXPECT_EQ(Name(linked.get()), "Bb");
}

TEST_F(WriterTest, SpanClipsSegmentsShiftsTimesAndKeepsTheGivenChannelOrder) {
  ComPtr<IRecording> source = MakeMemoryRecording(TwoGroupSpec());
  ComPtr<IChannelInfo> events = Channel(source.get(), 1, 3), volt = Channel(source.get(), 1, 1);
  const std::string path = Path("span.krf");
  // Between samples 500 (0.5 s) and 501; the end lies on sample 100 of the
  // second segment.
  const double start = 0.5005, end = 2.1;
  DrivenSave save = Save({events.get(), volt.get()}, start, end, 0, path);
  ASSERT_EQ(save.result, S_OK);

  ComPtr<IRecording> saved;
  ASSERT_EQ(Open(path, &saved), S_OK);
  double tod = 0;
  saved->get_UTCTimeOfDay(&tod);
  EXPECT_DOUBLE_EQ(tod, 3600.0 + start);
  auto h = HNormList(saved.get(), 1);
  ASSERT_EQ(h.size(), 2u);
  EXPECT_NEAR(h[0].start, 0.501 - start, 1e-12);
  EXPECT_EQ(h[0].length, 1234 - 501);
  EXPECT_NEAR(h[1].start, 2.0 - start, 1e-12);
  EXPECT_EQ(h[1].length, 101);

  std::vector<int16_t> src1 = Frames(source.get(), 1, 1), src2 = Frames(source.get(), 1, 2);
  std::vector<int16_t> want1, want2;
  for (size_t f = 501; f < 1234; ++f) want1.insert(want1.end(), {src1[f * 3 + 2], src1[f * 3]});
  for (size_t f = 0; f <= 100; ++f) want2.insert(want2.end(), {src2[f * 3 + 2], src2[f * 3]});
  EXPECT_EQ(Frames(saved.get(), 1, 1), want1);
  EXPECT_EQ(Frames(saved.get(), 1, 2), want2);
  EXPECT_EQ(Name(Channel(saved.get(), 1, 1).get(), 1), "Start");
  EXPECT_EQ(Name(Channel(saved.get(), 1, 2).get()), "Volt");

  // Both vertical normsets are valid in the span: the first moves to 0.
  auto v = VNormList(Channel(saved.get(), 1, 2).get());
  ASSERT_EQ(v.size(), 2u);
  EXPECT_EQ(v[0], (std::array<double, 3>{0.0, 0.0, 0.5}));
  EXPECT_NEAR(v[1][0], 1.5 - start, 1e-12);

  // Only the items inside [start, end], shifted; no marker or voice mark is
  // left, so neither has a stream.
  std::vector<uint8_t> bytes;
  EXPECT_FALSE(ReadStream(path, "Data/Markers01", &bytes));
  auto triggers = Times(saved.get(), kalRecColTriggers);
  ASSERT_EQ(triggers.size(), 2u);
  EXPECT_NEAR(triggers[0], 1.0 - start, 1e-12);
  EXPECT_NEAR(triggers[1], 2.1 - start, 1e-12);
  saved.reset();  // the raw reads open the file exclusively
  EXPECT_FALSE(ReadStream(path, "Data/Voicemarks/Intern01", &bytes));
  ASSERT_TRUE(ReadStream(path, "Data/Bookmarks01", &bytes));
  EXPECT_EQ(U32At(bytes, 0), 1u);
  EXPECT_NEAR(F64At(bytes, 4), 1.9 - start, 1e-12);
}

TEST_F(WriterTest, GroupsOfASecondRecordingAreAlignedOnTheUtcStartUnlessAskedNotTo) {
  MemoryRecordingSpec first = TwoGroupSpec();
  MemoryRecordingSpec second = TwoGroupSpec();
  second.utc_time_of_day = 3601.0;  // one second later
  ComPtr<IRecording> a = MakeMemoryRecording(first), b = MakeMemoryRecording(second);
  ComPtr<IChannelInfo> ca = Channel(a.get(), 1, 1), cb = Channel(b.get(), 1, 1);
  for (LONG options : {LONG(0), LONG(kalSRF_SkipAbsoluteTimeAlign)}) {
    const std::string path = Path("aligned" + std::to_string(options) + ".krf");
    DrivenSave save = Save({ca.get(), cb.get()}, 2.1, 2.5, options, path);
    ASSERT_EQ(save.result, S_OK);
    ComPtr<IRecording> saved;
    ASSERT_EQ(Open(path, &saved), S_OK);
    auto ha = HNormList(saved.get(), 1), hb = HNormList(saved.get(), 2);
    ASSERT_EQ(ha.size(), 1u);
    EXPECT_NEAR(ha[0].start, 0.0, 1e-9);
    EXPECT_EQ(ha[0].length, 401);
    // Aligned, the same instant is 1.1 s into the second recording (frame
    // 1,100 of its first segment); unaligned, 2.1 s (frame 100 of its second).
    ASSERT_EQ(hb.size(), 1u);
    EXPECT_NEAR(hb[0].start, 0.0, 1e-9);
    EXPECT_EQ(hb[0].length, options == 0 ? 1234 - 1100 : 401);
    EXPECT_EQ(Frames(saved.get(), 2, 1).at(0),
              options == 0 ? Frames(b.get(), 1, 1)[1100 * 3] : Frames(b.get(), 1, 2)[100 * 3]);
  }
}

TEST_F(WriterTest, TriggeredSegmentSavesTheHoldingNormsetWholeAndStartsAtItsFirstSample) {
  ComPtr<IRecording> source = MakeMemoryRecording(TwoGroupSpec());
  std::vector<ComPtr<IChannelInfo>> keep;
  const std::string path = Path("triggered.krf");
  DrivenSave save = Save(AllChannels(source.get(), &keep), 2.05, 2.06,
                         kalSRF_TriggeredSegmentOnly, path);
  ASSERT_EQ(save.result, S_OK);
  ComPtr<IRecording> saved;
  ASSERT_EQ(Open(path, &saved), S_OK);
  double tod = 0;
  saved->get_UTCTimeOfDay(&tod);
  EXPECT_DOUBLE_EQ(tod, 3602.0);
  auto h = HNormList(saved.get(), 1);
  ASSERT_EQ(h.size(), 1u);
  EXPECT_DOUBLE_EQ(h[0].start, 0.0);
  EXPECT_EQ(h[0].length, 700);
  EXPECT_EQ(Frames(saved.get(), 1, 1), Frames(source.get(), 1, 2));
  EXPECT_TRUE(HNormList(saved.get(), 2).empty());  // group 2 ends before 2.05 s
  EXPECT_EQ(save.group(1).EstimatedSize(), 0);
  // The collections' span is the normset, [2.0, 2.699] s.
  auto markers = Times(saved.get(), kalRecColMarkers);
  ASSERT_EQ(markers.size(), 1u);
  EXPECT_NEAR(markers[0], 0.5, 1e-12);
}

TEST_F(WriterTest, FailedFetchIsTheGroupsErrorAndTheCleanUpEmptiesItsStreams) {
  ComPtr<IRecording> source = MakeMemoryRecording(TwoGroupSpec());
  ComPtr<IChannelInfo> own = Channel(source.get(), 1, 1);
  ComPtr<IChannelInfo> foreign = Channel(source.get(), 2, 1);
  ComPtr<IChannelGroup> group = Group(source.get(), 1);
  ComPtr<IStorage> root, data;
  CreateTarget(Path("failed.krf"), &root, &data);
  CSaveChannelGroup saver(group.get(), 0, 1);
  ASSERT_EQ(saver.AddChannel(own.get()), S_OK);
  ASSERT_EQ(saver.AddChannel(foreign.get()), S_OK);  // GetMuxData refuses it
  saver.SetSpan(0.0, 100.0, 0.0);
  ASSERT_EQ(saver.CreateStorage(data.get()), S_OK);
  TestStop running;
  for (ULONG phase = 1; phase <= 4; ++phase) saver.Phase(phase, running);
  EXPECT_EQ(saver.error(), E_FAIL);
  saver.Phase(kSavePhaseCleanUp, running);
  saver.Phase(kSavePhaseCleanUp, running);  // a second finish does nothing
  ComPtr<IStorage> chgroup;
  ASSERT_EQ(data->OpenStorage(u"ChGroup1", nullptr, 0x12, nullptr, 0, chgroup.put()), S_OK);
  for (const char16_t* name : {u"MuxData02", u"MuxData500"}) {
    ComPtr<IStream> stream;
    ASSERT_EQ(chgroup->OpenStream(name, nullptr, 0x12, 0, stream.put()), S_OK);
    STATSTG stat{};
    stream->Stat(&stat, STATFLAG_NONAME);
    EXPECT_EQ(stat.cbSize.QuadPart, 0u);
  }
}

// Three channels of 400 million frames: only the normsets are read before
// the refusal or the stop.
TEST_F(WriterTest, FullRateDataOf2GiBIsRefusedWithoutKssAndAStopEndsTheAllocation) {
  WriteSparseRecording(Path("sparse.krf"), 3, 400000000);
  ComPtr<IRecording> source;
  ASSERT_EQ(Open(Path("sparse.krf"), &source), S_OK);
  ComPtr<IChannelInfo> c1 = Channel(source.get(), 1, 1), c2 = Channel(source.get(), 1, 2),
                       c3 = Channel(source.get(), 1, 3);
  // All three channels (2.4 GB) are refused; the clean-up truncates the stream.
  const std::string path = Path("refused.krf");
  DrivenSave save = Save({c1.get(), c2.get(), c3.get()}, 0.0, 1000.0, 0, path);
  EXPECT_EQ(save.result, kSaveTooLarge);
  EXPECT_EQ(save.group(0).BytesToAllocate(), 12 + 2400000000LL);
  EXPECT_EQ(save.group(0).BytesWritten(), 0);
  std::vector<uint8_t> full;
  ASSERT_TRUE(ReadStream(path, "Data/ChGroup1/MuxData02", &full));
  EXPECT_TRUE(full.empty());

  // One channel (800 MB) is allocated in 8 MiB steps: a stop after the first
  // ends the phase without an error.
  ComPtr<IStorage> root, data;
  CreateTarget(Path("stopped.krf"), &root, &data);
  CSaveChannelGroup saver(Group(source.get(), 1).get(), 0, 1);
  ASSERT_EQ(saver.AddChannel(c1.get()), S_OK);
  saver.SetSpan(0.0, 1000.0, 0.0);
  ASSERT_EQ(saver.CreateStorage(data.get()), S_OK);
  TestStop stop;
  saver.Phase(1, stop);
  stop.stop = true;
  saver.Phase(3, stop);
  EXPECT_EQ(saver.error(), S_OK);
  EXPECT_EQ(saver.BytesToAllocate(), 12 + 800000000);
  EXPECT_EQ(saver.BytesAllocated(), 2 * 0x800000);  // one step set, then the stop
  saver.Phase(kSavePhaseCleanUp, stop);
}

}  // namespace
}  // namespace mlr::save::test
