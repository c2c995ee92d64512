// UTF-16 -> UTF-8 conversion on ill-formed input: the storage engine's entry
// names and the reader's ANSI text both rely on it.
#include "platform/strings.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Utf8Of(const std::u16string& s) { return mlr::ToUtf8(s.data(), s.size()); }

TEST(Strings, Utf16ToUtf8ReplacesEachUnpairedSurrogate) {
  const std::string fffd = "\xEF\xBF\xBD";
  EXPECT_EQ(Utf8Of(u"a\xD800"), "a" + fffd);                     // high surrogate at the end
  EXPECT_EQ(Utf8Of(u"\xD800" u"b"), fffd + "b");                 // high surrogate, no low
  EXPECT_EQ(Utf8Of(u"\xDC00" u"b"), fffd + "b");                 // lone low surrogate
  EXPECT_EQ(Utf8Of(u"\xDC00\xD800"), fffd + fffd);               // reversed pair
  EXPECT_EQ(Utf8Of(u"\xD800\xD800\xDC00"), fffd + "\xF0\x90\x80\x80");  // second high pairs
  EXPECT_EQ(Utf8Of(u"\xDBFF\xDFFF"), "\xF4\x8F\xBF\xBF");
  EXPECT_EQ(Utf8Of(std::u16string(u"x\0y", 3)), std::string("x\0y", 3));  // length, not NUL, ends it
  EXPECT_EQ(mlr::ToUtf8(static_cast<const OLECHAR*>(nullptr)), "");
}

}  // namespace
