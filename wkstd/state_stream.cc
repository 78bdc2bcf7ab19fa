#include "wkstd/state_stream.h"

namespace wk {
namespace {

constexpr uint64_t LARGEST_SHORT_ITEM = 99'999'999;
constexpr uint32_t LONG_ITEM_MARK = 100'000'000;

template <typename integer>
void append_integer(std::string& out, integer value) {
  for (size_t i = 0; i < sizeof value; ++i) {
    out.push_back(static_cast<char>(static_cast<unsigned char>(value >> (8 * i))));
  }
}

template <typename integer>
bool take_integer(std::string_view& bytes, integer& value) {
  if (bytes.size() < sizeof value) return false;
  integer read = 0;
  for (size_t i = 0; i < sizeof value; ++i) {
    read |= static_cast<integer>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  }
  bytes.remove_prefix(sizeof value);
  value = read;
  return true;
}

}  // namespace

void append_u32(std::string& out, uint32_t value) { append_integer(out, value); }
void append_u64(std::string& out, uint64_t value) { append_integer(out, value); }

void append_string(std::string& out, std::string_view text) {
  append_u32(out, static_cast<uint32_t>(text.size()));
  out.append(text);
}

void append_text_item(std::string& out, std::string_view text) {
  if (text.size() > LARGEST_SHORT_ITEM) {
    append_u32(out, LONG_ITEM_MARK);
    append_u64(out, text.size());
    append_u64(out, text.size());
  } else {
    append_u32(out, static_cast<uint32_t>(text.size()));
    append_u32(out, static_cast<uint32_t>(text.size()));
  }
  out.append(text);
}

bool take_u32(std::string_view& bytes, uint32_t& value) { return take_integer(bytes, value); }
bool take_u64(std::string_view& bytes, uint64_t& value) { return take_integer(bytes, value); }

bool take_string(std::string_view& bytes, std::string& text) {
  std::string_view rest = bytes;
  uint32_t length = 0;
  if (!take_u32(rest, length) || rest.size() < length) return false;
  text.assign(rest.substr(0, length));
  bytes = rest.substr(length);
  return true;
}

bool take_text_item(std::string_view& bytes, std::string& text) {
  std::string_view rest = bytes;
  uint32_t first = 0;
  uint64_t buffer_size = 0;
  uint64_t length = 0;
  if (!take_u32(rest, first)) return false;
  if (first == LONG_ITEM_MARK) {
    if (!take_u64(rest, buffer_size) || !take_u64(rest, length)) return false;
  } else {
    uint32_t short_length = 0;
    if (!take_u32(rest, short_length)) return false;
    buffer_size = first;
    length = short_length;
  }
  if (length > buffer_size || rest.size() < buffer_size) return false;
  text.assign(rest.substr(0, length));
  bytes = rest.substr(buffer_size);
  return true;
}

}  // namespace wk
