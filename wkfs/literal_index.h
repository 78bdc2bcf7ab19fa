// A million literal patterns, and whether a text begins with one of them or is one.
//
//   cat.*  car.*  c.x.*      byte 2 is  "t": cat    "r": car    "x": c.x
//
// A tree of questions, each for the byte at one place of the text. A question is chosen so that
// its answers leave few patterns: what many have in common is not asked for, and places where many
// have ANY_BYTE come last, because the patterns that take any byte there are a second way to go.
// So it hardly matters where the dots of a million hosts stand, and which of them are quoted. The
// few patterns at the end of a way are compared as a whole. A test asks ten questions or so, and
// more where patterns take any byte at many places at random.
//
// An index never changes once it is built. Threads: any number at once.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

// The patterns of an index to be, in one buffer.
struct literal_list {
  struct entry {
    uint64_t begin;  // in symbols
    uint32_t size;
    bool is_prefix;  // else a whole text
  };
  std::u16string symbols;  // bytes, and ANY_BYTE (wkfs/pattern_literal.h)
  std::vector<entry> entries;
};
void add_literal_list(literal_list& list, std::u16string_view symbols, bool is_prefix);

struct literal_index {
  // A question, or at the end of a way the patterns that are left.
  struct node {
    uint64_t begin;  // of the children: those with a byte, then that for any byte; in patterns
    uint32_t place;  // of the byte asked for
    uint16_t nb_children;  // with a byte; patterns
    bool has_any_child;    // of those that take any byte at the place, or end before it
    bool is_end;
  };
  std::vector<node> nodes;  // the root first; empty: no patterns
  std::string asked_bytes;  // for each node the byte that leads to it
  // For each pattern its size (4 bytes), 1 for a prefix or 0 (1 byte), its bytes, and as many bytes
  // that are 0 where it takes any byte. Those of one end stand together.
  std::string patterns;
};

// At most 2^31 patterns. Changes the order of the list and drops what it holds twice.
[[nodiscard]] literal_index build_literal_index(literal_list& list);

[[nodiscard]] bool matches_literal_index(const literal_index& index, std::string_view text);

}  // namespace wk
