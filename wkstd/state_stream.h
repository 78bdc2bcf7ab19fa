// STATE STREAM: how the images that the crawler saves are encoded.
//
//   integer    4 bytes, unsigned, lowest byte first
//   string     its length as an integer, then its bytes, no terminator
//   text item  buffer size and text length, both as integers, then as many bytes as the buffer size
//              says; a buffer of more than 99,999,999 bytes is announced by the integer 100,000,000
//              and both sizes follow as 8-byte words
//
// The writers append to a string. The takers cut what they read off the front of bytes and answer
// false, leaving their output alone, when bytes is too short.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

void append_u32(std::string& out, uint32_t value);
void append_u64(std::string& out, uint64_t value);
void append_string(std::string& out, std::string_view text);
void append_text_item(std::string& out, std::string_view text);

[[nodiscard]] bool take_u32(std::string_view& bytes, uint32_t& value);
[[nodiscard]] bool take_u64(std::string_view& bytes, uint64_t& value);
[[nodiscard]] bool take_string(std::string_view& bytes, std::string& text);
[[nodiscard]] bool take_text_item(std::string_view& bytes, std::string& text);

}  // namespace wk
