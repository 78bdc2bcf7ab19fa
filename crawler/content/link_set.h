// Which of a page's links were found already: a set of indices into the list that holds their
// texts.
//
// It allocates nothing once it is as large as the largest page asked for, a small page touches few
// slots of it whatever the largest was, and forgetting a page costs one increment. Threads: one at
// a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/content/seeded_hash.h"

namespace wk {

struct link_slot {
  uint32_t generation = 0;  // in use when it is the set's
  uint32_t hash = 0;        // upper half of the text's hash, so that most texts need no comparison
  uint32_t index = 0;
};

struct link_set {
  hash_seed seed = create_hash_seed();
  std::vector<link_slot> slots;  // linear probing
  size_t nb_open = 0;            // the first of slots, looked at for this page: a power of two
  uint32_t generation = 1;
  size_t nb_used = 0;            // at most half of nb_open
  std::vector<link_slot> moved;  // while it grows
};

void clear_link_set(link_set& set);
// True when text is none of those entered so far, and enters it under index; texts[index] of every
// entry must be its text.
bool add_link_set(link_set& set, const std::vector<std::string>& texts, std::string_view text,
                  uint32_t index);
bool add_link_set(link_set& set, const std::vector<std::string_view>& texts, std::string_view text,
                  uint32_t index);

}  // namespace wk
