#include "crawler/content/flash_actions.h"

#include <cstdint>
#include <vector>

#include "crawler/content/flash_movie.h"
#include "wkstd/byte_block.h"

namespace wk {
namespace {

enum flash_action : uint8_t {
  ACTION_END = 0,
  ACTION_GET_VARIABLE = 0x1C,  // name -> value
  ACTION_GET_MEMBER = 0x4E,    // object, name -> value
  ACTION_GET_URL = 0x83,       // data: address and target, each ended by a NUL byte
  ACTION_CONSTANT_POOL = 0x88,
  ACTION_PUSH = 0x96,
  ACTION_GET_URL_2 = 0x9A,  // address, target ->
};
constexpr uint8_t FIRST_ACTION_WITH_DATA = 0x80;
// No compiler pushes that many values; a movie that does has them forgotten.
constexpr size_t MAX_STACK_VALUES = 1'024;

enum pushed_type : uint8_t {
  PUSHED_STRING = 0,
  PUSHED_FLOAT = 1,
  PUSHED_NULL = 2,
  PUSHED_UNDEFINED = 3,
  PUSHED_REGISTER = 4,
  PUSHED_BOOLEAN = 5,
  PUSHED_DOUBLE = 6,
  PUSHED_INTEGER = 7,
  PUSHED_CONSTANT_8 = 8,
  PUSHED_CONSTANT_16 = 9,
};

// Values whose text is not known are empty: an empty text is no address.
struct action_state {
  std::vector<std::string_view> pool;
  std::vector<std::string_view> stack;  // what was pushed right before
};

bool take_string(std::string_view& bytes, std::string_view& text) {
  const size_t end = find_byte(bytes, 0, '\0');
  if (end == bytes.size()) return false;
  text = bytes.substr(0, end);
  bytes.remove_prefix(end + 1);
  return true;
}

// Count (2), that many texts. The pool grows with what comes.
void read_constant_pool(action_state& state, std::string_view data) {
  uint16_t count = 0;
  state.pool.clear();
  if (!take_flash_u16(data, count)) return;
  std::string_view text;
  for (; count > 0 && take_string(data, text); --count) state.pool.push_back(text);
}

std::string_view find_constant(const action_state& state, size_t index) {
  return index < state.pool.size() ? state.pool[index] : std::string_view();
}

bool take_pushed_value(const action_state& state, std::string_view& data, std::string_view& value) {
  uint8_t type = 0;
  uint8_t index_8 = 0;
  uint16_t index_16 = 0;
  value = {};
  if (!take_flash_u8(data, type)) return false;
  switch (type) {
    case PUSHED_STRING:
      return take_string(data, value);
    case PUSHED_CONSTANT_8:
      if (!take_flash_u8(data, index_8)) return false;
      value = find_constant(state, index_8);
      return true;
    case PUSHED_CONSTANT_16:
      if (!take_flash_u16(data, index_16)) return false;
      value = find_constant(state, index_16);
      return true;
    case PUSHED_NULL:
    case PUSHED_UNDEFINED:
      return true;
    case PUSHED_REGISTER:
    case PUSHED_BOOLEAN:
      return take_flash_bytes(data, 1);
    case PUSHED_FLOAT:
    case PUSHED_INTEGER:
      return take_flash_bytes(data, 4);
    case PUSHED_DOUBLE:
      return take_flash_bytes(data, 8);
    default:
      return false;
  }
}

void push_value(action_state& state, std::string_view value) {
  if (state.stack.size() == MAX_STACK_VALUES) state.stack.clear();
  state.stack.push_back(value);
}

// Takes count values off the stack and leaves one that is not known.
void replace_by_unknown(action_state& state, size_t count) {
  while (count-- > 0 && !state.stack.empty()) state.stack.pop_back();
  push_value(state, {});
}

// The address lies below the target; where only one value is known to be there it is the address.
void add_opened_link(const action_state& state, link_gatherer& gatherer) {
  const size_t size = state.stack.size();
  if (size == 0) return;
  const std::string_view url = state.stack[size > 1 ? size - 2 : 0];
  if (!url.empty()) gather_link(gatherer, url);
}

void read_action(uint8_t code, std::string_view data, action_state& state,
                 link_gatherer& gatherer) {
  std::string_view text;
  switch (code) {
    case ACTION_CONSTANT_POOL:
      return read_constant_pool(state, data);
    case ACTION_PUSH:
      while (take_pushed_value(state, data, text)) push_value(state, text);
      return;
    case ACTION_GET_VARIABLE:
      return replace_by_unknown(state, 1);
    case ACTION_GET_MEMBER:
      return replace_by_unknown(state, 2);
    case ACTION_GET_URL:
      if (take_string(data, text) && !text.empty()) gather_link(gatherer, text);
      return;
    case ACTION_GET_URL_2:
      add_opened_link(state, gatherer);
      break;
    default:
      break;
  }
  state.stack.clear();
}

}  // namespace

void add_flash_action_links(std::string_view actions, link_gatherer& gatherer) {
  action_state state;
  for (uint8_t code = 0; take_flash_u8(actions, code) && code != ACTION_END;) {
    uint16_t length = 0;
    if (code >= FIRST_ACTION_WITH_DATA && !take_flash_u16(actions, length)) return;
    const std::string_view data = actions.substr(0, length);
    actions.remove_prefix(data.size());
    read_action(code, data, state, gatherer);
  }
}

}  // namespace wk
