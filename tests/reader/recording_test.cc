// The reader's objects over files written by the test builder: opening,
// groups, channels, collections and voice marks.
#include <fstream>
#include <thread>

#include "reader/krf_recording.h"
#include "reader/text_convert.h"
#include "tests/reader/reader_fixture.h"

namespace mlr::reader::test {
namespace {

using mlr::testing::RecordingSpec;
using mlr::testing::SampleRecording;

TEST_F(ReaderTest, OpenFailuresReturnStatusAndNull) {
  ComPtr<IRecording> r;
  EXPECT_EQ(Open(Path("missing.krf"), &r), STG_E_FILENOTFOUND);
  EXPECT_FALSE(r);

  const std::string plain = Path("plain.krf");
  std::ofstream(plain) << "not a compound file at all, just text";
  EXPECT_TRUE(FAILED(Open(plain, &r)));
  EXPECT_FALSE(r);

  RecordingSpec no_data;
  no_data.write_data = false;
  no_data.overrides["Other"] = std::vector<uint8_t>{1, 2, 3};
  EXPECT_EQ(Open(Write(no_data, "nodata"), &r), STG_E_FILENOTFOUND);
  EXPECT_FALSE(r);
}

TEST_F(ReaderTest, MissingIntern01GivesDefaultStartAndUnknownVersion) {
  RecordingSpec spec = SampleRecording();
  spec.write_intern = false;
  spec.app_name.reset();
  CKrfRecording* rec = nullptr;
  const std::u16string path = AnsiToUtf16(Write(spec, "nointern"));
  rec = CKrfRecording::Open(path.c_str());
  ASSERT_EQ(rec->open_result(), S_OK);
  EXPECT_EQ(rec->version(), 0xFFFFFFFFu);
  double hint = 0;
  rec->get_TimePerDivisionHint(&hint);
  EXPECT_EQ(hint, 1.0);
  rec->Release();
}

TEST_F(ReaderTest, CollectionsAndLinks) {
  ComPtr<IRecording> r;
  ASSERT_EQ(Open(Write(SampleRecording(), "sample"), &r), S_OK);

  EXPECT_EQ(TimemarkCount(r.get(), kalRecColMarkers), 2);  // the record with flag 0 is not a marker
  EXPECT_EQ(TimemarkCount(r.get(), kalRecColBookmarks), 2);
  ASSERT_EQ(TimemarkCount(r.get(), kalRecColTriggers), 3);
  // Trigger 2 (source 3, group 1, channel number 2) links to "Flow"; trigger
  // 3 names a channel number nobody has.
  std::vector<std::string> linked;
  for (LONG i = 1; i <= 3; ++i) {
    ComPtr<IChannelInfo> info = TriggerChannel(r.get(), i);
    linked.push_back(info ? Name(info.get()) : "-");
  }
  EXPECT_EQ(linked, (std::vector<std::string>{"-", "Flow", "-"}));

  // Physical channels: linked by name to the stored channel; the input whose
  // data were not stored has no channel.
  ComPtr<IPhysicalChannels> pcs = CollectionOf<IPhysicalChannels>(r.get(), kalRecColPhysicalChannelConfig);
  ASSERT_TRUE(pcs);
  LONG count = 0;
  pcs->get_Count(&count);
  EXPECT_EQ(count, 4);
  ComPtr<IChannelInfo> found;
  EXPECT_EQ(pcs->FindChannelInfo(3, 7, found.put()), S_OK);
  ASSERT_TRUE(found);
  EXPECT_EQ(Name(found.get()), "Temperature");
  found.reset();
  EXPECT_EQ(pcs->FindChannelInfo(2, 1, found.put()), S_OK);
  EXPECT_FALSE(found);
  // Group 2 ("ChGroup3") leaves out its channel whose present flag is 0.
  EXPECT_TRUE(Channel(r.get(), 2, 1) && !Channel(r.get(), 2, 2));

  // Display pages: two pages, the second without trace assignment; each
  // request builds a new collection.
  ComPtr<IDisplayPages> pages = CollectionOf<IDisplayPages>(r.get(), kalRecColDisplayPages);
  ASSERT_TRUE(pages);
  pages->get_Count(&count);
  ASSERT_EQ(count, 2);
  ComPtr<IDisplayPage> page;
  pages->get_Item(1, page.put());
  ComPtr<IUnknown> blob;
  page->get_PageSetup(blob.put());
  ComPtr<IStream> stream = blob.As<IStream>();
  uint8_t bytes[8] = {};
  ULONG got = 0;
  LARGE_INTEGER zero{};
  stream->Seek(zero, STREAM_SEEK_SET, nullptr);
  stream->Read(bytes, sizeof bytes, &got);
  EXPECT_EQ(got, 4u);
  EXPECT_EQ(bytes[3], 4);
  page.reset();
  pages->get_Item(2, page.put());
  blob.reset();
  EXPECT_EQ(page->get_TraceAssignment(blob.put()), S_OK);
  EXPECT_FALSE(blob);
  // Each request reads "Display Setup" again into a new collection.
  EXPECT_NE(CollectionOf<IDisplayPages>(r.get(), kalRecColDisplayPages).get(), pages.get());
}

TEST_F(ReaderTest, ConcurrentFirstUsesLoadOnce) {
  ComPtr<IRecording> r;
  ASSERT_EQ(Open(Write(SampleRecording(), "racing"), &r), S_OK);
  std::vector<LONG> groups(4, -1), channels(4, -1), markers(4, -1);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      ComPtr<IChannelGroups> all;
      if (SUCCEEDED(r->get_ChannelGroups(all.put())) && all) all->get_Count(&groups[t]);
      ComPtr<IChannelGroup> g = Group(r.get(), 1);
      ComPtr<IChannelInfos> infos;
      if (g && SUCCEEDED(g->get_ChannelInfos(infos.put())) && infos) infos->get_Count(&channels[t]);
      markers[t] = TimemarkCount(r.get(), kalRecColMarkers);
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(groups, std::vector<LONG>(4, 2));
  EXPECT_EQ(channels, std::vector<LONG>(4, 3));
  EXPECT_EQ(markers, std::vector<LONG>(4, 2));
}

// Three marks: 8-bit mono (10 samples), 16-bit stereo, and one whose sound
// stream is missing.
TEST_F(ReaderTest, VoicemarkDataShapesAndMissingSound) {
  RecordingSpec spec = SampleRecording();
  spec.voicemarks[0].sound.resize(10);
  for (int i = 0; i < 10; ++i) spec.voicemarks[0].sound[static_cast<size_t>(i)] = static_cast<uint8_t>(i + 1);
  mlr::testing::VoicemarkSpec stereo;
  stereo.stream_number = 7;
  stereo.bits_per_sample = 16;
  stereo.channels = 2;
  stereo.time = 1.5;
  for (int i = 0; i < 40; ++i) stereo.sound.push_back(static_cast<uint8_t>(i));  // 10 frames
  mlr::testing::VoicemarkSpec lost = stereo;
  lost.stream_number = 8;
  spec.voicemarks.push_back(stereo);
  spec.voicemarks.push_back(lost);
  spec.overrides["Data/Voicemarks/Voicemark8"] = std::nullopt;
  ComPtr<IRecording> r;
  ASSERT_EQ(Open(Write(spec, "voices"), &r), S_OK);
  ComPtr<IVoiceMarks> marks = CollectionOf<IVoiceMarks>(r.get(), kalRecColVoicemarks);
  ASSERT_TRUE(marks);
  LONG first = 0, last = 0;
  marks->GetIndicesFromTime(1.0, 2.0, &first, &last);
  EXPECT_EQ(first, 2);
  EXPECT_EQ(last, 3);
  std::vector<ComPtr<IVoiceMark>> items;
  for (LONG i = 1; i <= 3; ++i) {
    ComPtr<IUnknown> item;
    marks->get_Item(i, item.put());
    items.push_back(item.As<IVoiceMark>());
  }
  LONG length = 0;
  items[0]->get_Length(&length);
  EXPECT_EQ(length, 10);
  VARIANT v;
  VariantInit(&v);
  // GetData(1, 9) on a 10-sample mark gives all 10 samples.
  ASSERT_EQ(items[0]->GetData(1, 9, &v), S_OK);
  ASSERT_EQ(v.vt, VT_ARRAY | VT_I1);
  LONG hi = 0;
  SafeArrayGetUBound(v.parray, 1, &hi);
  EXPECT_EQ(hi, 9);
  LONG at = 9;
  int8_t final_sample = 0;
  SafeArrayGetElement(v.parray, &at, &final_sample);
  EXPECT_EQ(final_sample, 10);
  VariantClear(&v);
  EXPECT_EQ(items[0]->GetData(11, 1, &v), S_OK);
  EXPECT_EQ(v.vt, VT_EMPTY);
  EXPECT_EQ(items[0]->GetData(0, 1, &v), E_INVALIDARG);
  EXPECT_EQ(items[0]->Remove(), E_NOTIMPL);
  ComPtr<IUnknown> none;
  EXPECT_EQ(marks->get_Item(4, none.put()), S_OK);
  EXPECT_FALSE(none);

  // 16-bit stereo: channels x (count x 4 bytes) elements of VT_I2, of which
  // the first count x 4 bytes hold the sound and the rest stays zero.
  ASSERT_EQ(items[1]->GetData(2, 3, &v), S_OK);
  ASSERT_EQ(v.vt, VT_ARRAY | VT_I2);
  ASSERT_EQ(SafeArrayGetDim(v.parray), 2u);
  LONG hi1 = 0, hi2 = 0;
  SafeArrayGetUBound(v.parray, 1, &hi1);
  SafeArrayGetUBound(v.parray, 2, &hi2);
  EXPECT_EQ(hi1, 2);
  EXPECT_EQ(hi2, 12);
  void* data = nullptr;
  SafeArrayAccessData(v.parray, &data);
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  EXPECT_EQ(bytes[0], 4);    // frame 2 starts at byte 4
  EXPECT_EQ(bytes[11], 15);  // three frames of 4 bytes
  EXPECT_EQ(bytes[12], 0);
  EXPECT_EQ(bytes[47], 0);
  SafeArrayUnaccessData(v.parray);
  VariantClear(&v);
  // A mark whose sound stream is missing answers E_OUTOFMEMORY, as it always has.
  EXPECT_EQ(items[2]->GetData(1, 1, &v), E_OUTOFMEMORY);
  EXPECT_EQ(v.vt, VT_EMPTY);
}

TEST_F(ReaderTest, MalformedStreamsEndListsSilently) {
  RecordingSpec spec = SampleRecording();
  spec.overrides["Data/Markers01"] = std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0x7F, 1, 2};
  spec.overrides["Data/Triggers01"] = std::vector<uint8_t>{5, 0, 0, 0, 24, 0};
  spec.overrides["Data/Bookmarks01"] = std::nullopt;
  spec.overrides["Data/ChGroup1/HNorms02"] = std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF};
  spec.overrides["Data/ChGroup3/Channel7/Intern01"] = std::vector<uint8_t>{0, 0, 0xFF, 0xFF};
  ComPtr<IRecording> r;
  ASSERT_EQ(Open(Write(spec, "malformed"), &r), S_OK);
  for (kalRecordingCollection type : {kalRecColMarkers, kalRecColBookmarks, kalRecColTriggers}) {
    EXPECT_EQ(TimemarkCount(r.get(), type), 0) << type;
  }
  ComPtr<IHNorms> hnorms;
  Group(r.get(), 1)->get_HNorms(hnorms.put());
  LONG count = -1;
  hnorms->get_Count(&count);
  EXPECT_EQ(count, 0);
  ComPtr<IChannelInfo> c = Channel(Group(r.get(), 2).get(), 1);
  ASSERT_TRUE(c);
  EXPECT_EQ(Name(c.get()), "");
}

}  // namespace
}  // namespace mlr::reader::test
