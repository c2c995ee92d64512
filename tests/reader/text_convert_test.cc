#include <gtest/gtest.h>

#include "reader/recording_properties.h"
#include "reader/text_convert.h"
#include "testing/krf_bytes.h"

namespace mlr::reader {
namespace {

TEST(TextConvert, RoundTripsAndReplacesBrokenSequences) {
  const std::u16string wide = u"Temp \u00B0C \u6E29\U0001F600";
  const std::string ansi = Utf16ToAnsi(wide);
  EXPECT_EQ(ansi, "Temp \xC2\xB0" "C \xE6\xB8\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(AnsiToUtf16(ansi), wide);
  EXPECT_EQ(AnsiToUtf16("a\xC2"), u"a\uFFFD");
  EXPECT_EQ(AnsiToUtf16("\xE6\x41"), u"\uFFFDA");
  EXPECT_EQ(Utf16ToAnsi(std::u16string(1, u'\xD800')), "\xEF\xBF\xBD");
  EXPECT_EQ(Utf16ToAnsi(static_cast<const char16_t*>(nullptr)), "");
}

TEST(RecordingProperties, KnownVersionIsKeptUnlessTheRecordIsMalformed) {
  // The conversion path knows 0x30000 before the stream is read.
  std::vector<uint8_t> ok = testing::TaggedRecords().U32(20, 0x20000).End().take();
  EXPECT_EQ(DecodeRecordingProperties(ok.data(), ok.size(), 0x30000).version, 0x30000u);
  std::vector<uint8_t> bad = testing::TaggedRecords().Raw(20, 2, {0, 0}).End().take();
  EXPECT_EQ(DecodeRecordingProperties(bad.data(), bad.size(), 0x30000).version, 0x20000u);
}

}  // namespace
}  // namespace mlr::reader
