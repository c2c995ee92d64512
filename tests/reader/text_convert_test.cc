#include <gtest/gtest.h>

#include "reader/text_convert.h"

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

}  // namespace
}  // namespace mlr::reader
