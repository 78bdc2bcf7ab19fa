#include "wkstd/state_stream.h"

#include <gtest/gtest.h>

#include <string>

#include "wkstd/base64.h"

namespace wk {
namespace {

std::string build_stream() {
  std::string stream;
  append_u32(stream, 0x04030201);
  append_string(stream, std::string_view("a\0b", 3));
  append_text_item(stream, "text");
  append_u64(stream, 0x0807060504030201);
  return stream;
}

TEST(state_stream, writes_the_lowest_byte_first) {
  EXPECT_EQ(build_stream(), std::string("\1\2\3\4"
                                        "\3\0\0\0a\0b"
                                        "\4\0\0\0\4\0\0\0text"
                                        "\1\2\3\4\5\6\7\10",
                                        31));
}

TEST(state_stream, reads_back_what_was_written_and_refuses_every_shorter_stream) {
  const std::string stream = build_stream();
  for (size_t length = 0; length <= stream.size(); ++length) {
    SCOPED_TRACE(length);
    std::string_view bytes = std::string_view(stream).substr(0, length);
    uint32_t number = 0;
    std::string text;
    std::string item;
    uint64_t last = 0;
    const bool whole = take_u32(bytes, number) && take_string(bytes, text) &&
                       take_text_item(bytes, item) && take_u64(bytes, last);
    EXPECT_EQ(whole, length == stream.size());
    if (!whole) continue;
    EXPECT_EQ(number, 0x04030201u);
    EXPECT_EQ(text, std::string("a\0b", 3));
    EXPECT_EQ(item, "text");
    EXPECT_EQ(last, 0x0807060504030201u);
  }
}

TEST(state_stream, refuses_lengths_that_the_stream_does_not_have) {
  const std::string cases[] = {
      std::string("\xff\xff\xff\xff", 4) + "abc",                         // a string
      std::string("\2\0\0\0\3\0\0\0abc", 11),                             // text beyond its buffer
      std::string("\0\xe1\xf5\5\1\0\0\0\0\0\0\xff\1\0\0\0\0\0\0\0", 20),  // a long item
  };
  for (const std::string& stream : cases) {
    std::string_view bytes = stream;
    std::string text = "kept";
    EXPECT_FALSE(take_text_item(bytes, text));
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(bytes.size(), stream.size()) << "a refused item is left in the stream";
  }
}

TEST(append_base64, pads_to_groups_of_four) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
      {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"\xff\xfe\xfd", "//79"},
  };
  for (const auto& [bytes, text] : cases) {
    std::string out;
    append_base64(out, bytes);
    EXPECT_EQ(out, text);
  }
}

}  // namespace
}  // namespace wk
