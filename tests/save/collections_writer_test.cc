// The collections writer: the streams of bookmarks, markers, voice marks
// and triggers, byte for byte, from a file source and an in-memory one.
#include "testing/krf_builder.h"
#include "testing/krf_bytes.h"
#include "testing/krf_writer.h"
#include "tests/save/writer_fixture.h"

namespace mlr::save::test {
namespace {

using mlr::testing::Bytes;

TEST_F(WriterTest, CollectionsOfAFileAreWrittenByteForByteWithTriggerLinksAndSound) {
  mlr::testing::RecordingSpec spec = mlr::testing::SampleRecording();
  mlr::testing::VoicemarkSpec voice;  // stereo, 16 bits, 250,000 samples
  voice.stream_number = 7;
  voice.samples_per_sec = 44100;
  voice.bits_per_sample = 16;
  voice.channels = 2;
  voice.time = 0.75;
  for (uint32_t i = 0; i < 1000000; ++i) voice.sound.push_back(static_cast<uint8_t>(i * 7 + i / 256));
  spec.voicemarks = {voice};
  ASSERT_EQ(mlr::testing::WriteRecordingFile(Path("source.krf"), spec), S_OK);
  ComPtr<IRecording> source;
  ASSERT_EQ(Open(Path("source.krf"), &source), S_OK);
  ComPtr<IChannelInfo> flow = Channel(source.get(), 1, 2);
  ASSERT_EQ(Name(flow.get()), "Flow");
  const std::string path = Path("collections.krf");
  ASSERT_EQ(Save({flow.get()}, 0.0, 100.0, 0, path).result, S_OK);
  source.reset();
  flow.reset();

  std::vector<uint8_t> bytes;
  ASSERT_TRUE(ReadStream(path, "Data/Bookmarks01", &bytes));
  EXPECT_EQ(bytes, Bytes().U32(2).F64(0.1).Text(u"Start").F64(2.05).Text(u"Pump stable").take());
  // The reader keeps the markers whose flag is not 0; each is written with 2.
  ASSERT_TRUE(ReadStream(path, "Data/Markers01", &bytes));
  EXPECT_EQ(bytes, Bytes().U32(2).F64(0.25).U32(2).F64(2.2).U32(2).take());
  // "Flow > 5" names the saved channel (group 1, channel 1 of the saved
  // file); "Nothing" names no channel of the source.
  ASSERT_TRUE(ReadStream(path, "Data/Triggers01", &bytes));
  EXPECT_EQ(bytes, Bytes()
                       .U32(3)
                       .U32(26 + 16).U32(1).F64(0.0).I32(-1).I32(-1).Text(u"External")
                       .U32(26 + 16).U32(3).F64(1.2).I32(1).I32(1).Text(u"Flow > 5")
                       .U32(26 + 14).U32(3).F64(1.3).I32(-1).I32(-1).Text(u"Nothing")
                       .take());
  ASSERT_TRUE(ReadStream(path, "Data/Voicemarks/Intern01", &bytes));
  EXPECT_EQ(bytes,
            Bytes().U32(1).U32(32).U32(1).U32(44100).U32(16).U32(2).U32(250000).F64(0.75).take());
  ASSERT_TRUE(ReadStream(path, "Data/Voicemarks/Voicemark1", &bytes));
  EXPECT_EQ(bytes, voice.sound);
}

}  // namespace
}  // namespace mlr::save::test
