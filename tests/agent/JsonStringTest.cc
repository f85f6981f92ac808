// JSON shows stay valid JSON whatever a name holds: names from the kernel
// may carry any byte, and a JSON text must be UTF-8.
#include <gtest/gtest.h>

#include "agent/JsonString.h"

namespace {

using KorAgent::jsonString;

TEST(JsonStringTest, EscapesControlsAndReplacesBytesThatAreNotUtf8) {
  EXPECT_EQ(jsonString("a\"b\\c"), "\"a\\\"b\\\\c\"");
  EXPECT_EQ(jsonString(std::string("a\0b\x1f\x7f", 5)), "\"a\\u0000b\\u001f\\u007f\"");
  // Well-formed sequences of two, three and four bytes pass as they are.
  EXPECT_EQ(jsonString("gr\xc3\xbcn \xe2\x82\xac \xf0\x9f\x98\x80"), "\"gr\xc3\xbcn \xe2\x82\xac \xf0\x9f\x98\x80\"");
  // A stray continuation byte, a cut sequence, an overlong form, a
  // surrogate and a code point past U+10FFFF each become U+FFFD.
  EXPECT_EQ(jsonString("a\x80z"), "\"a\\ufffdz\"");
  EXPECT_EQ(jsonString("a\xe2\x82"), "\"a\\ufffd\\ufffd\"");
  EXPECT_EQ(jsonString("\xc0\xaf"), "\"\\ufffd\\ufffd\"");
  EXPECT_EQ(jsonString("\xed\xa0\x80"), "\"\\ufffd\\ufffd\\ufffd\"");
  EXPECT_EQ(jsonString("\xf4\x90\x80\x80"), "\"\\ufffd\\ufffd\\ufffd\\ufffd\"");
}

}  // namespace
