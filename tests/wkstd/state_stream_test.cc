#include "wkstd/state_stream.h"

#include <gtest/gtest.h>

#include <string>

namespace wk {
namespace {

using namespace std::string_literals;

TEST(state_stream, writes_the_lowest_byte_first_and_refuses_every_shorter_stream) {
  std::string stream;
  append_u32(stream, 0x04030201);
  append_string(stream, "a\0b"s);
  append_text_item(stream, "text");
  append_u64(stream, 0x0807060504030201);
  EXPECT_EQ(stream, "\1\2\3\4\3\0\0\0a\0b\4\0\0\0\4\0\0\0text\1\2\3\4\5\6\7\10"s);
  for (size_t length = 0; length <= stream.size(); ++length) {
    SCOPED_TRACE(length);
    std::string_view bytes = std::string_view(stream).substr(0, length);
    uint32_t number = 0;
    uint64_t last = 0;
    std::string text;
    std::string item;
    EXPECT_EQ(take_u32(bytes, number) && take_string(bytes, text) && take_text_item(bytes, item) &&
                  take_u64(bytes, last),
              length == stream.size());
    if (length < stream.size()) continue;
    EXPECT_EQ(number, 0x04030201u);
    EXPECT_EQ(text + item, "a\0btext"s);
    EXPECT_EQ(last, 0x0807060504030201u);
  }
}

TEST(state_stream, refuses_lengths_that_the_stream_does_not_have) {
  const std::string cases[] = {
      "\xff\xff\xff\xff"s + "abc",                        // a string
      "\2\0\0\0\3\0\0\0abc"s,                             // text beyond its buffer
      "\0\xe1\xf5\5\1\0\0\0\0\0\0\xff\1\0\0\0\0\0\0\0"s,  // a long item
  };
  for (const std::string& stream : cases) {
    std::string_view bytes = stream;
    std::string text = "kept";
    EXPECT_FALSE(take_text_item(bytes, text));
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(bytes.size(), stream.size()) << "a refused item is left in the stream";
  }
}

}  // namespace
}  // namespace wk
