// The digests of contents: byte i of a text is added, modulo 256, to digest byte i modulo 16.
#include <algorithm>

#include "crawler/content/digest_table.h"
#include "crawler/content/page_text_scan.h"
#include "wkstd/byte_block.h"

namespace wk {
namespace {

static_assert(std::tuple_size_v<content_digest> == BYTE_BLOCK_SIZE);

// Sums by the phase at which a run of text begins, that is, by its place modulo 16: inside a run
// byte i then belongs to lane i modulo 16 whatever the phase, so whole blocks are added, and only
// the sixteen sums are turned into place, once, at the end.
struct digest_sums {
  alignas(BYTE_BLOCK_SIZE) unsigned char lanes[BYTE_BLOCK_SIZE][BYTE_BLOCK_SIZE] = {};
  size_t phase = 0;
};

// A block of n set bytes followed by zeros begins at tail_masks + 16 - n.
constexpr auto tail_masks = [] {
  std::array<unsigned char, 2 * BYTE_BLOCK_SIZE> masks{};
  std::fill_n(masks.begin(), BYTE_BLOCK_SIZE, static_cast<unsigned char>(0xff));
  return masks;
}();

// The nb_bytes, fewer than 16, from there on, and zeros; end is where readable memory ends.
byte_block load_tail(const char* from, size_t nb_bytes, const char* end) {
  if (end - from >= static_cast<ptrdiff_t>(BYTE_BLOCK_SIZE)) {
    return and_byte_block(load_byte_block(from),
                          load_byte_block(tail_masks.data() + BYTE_BLOCK_SIZE - nb_bytes));
  }
  unsigned char tail[BYTE_BLOCK_SIZE] = {};
  std::copy_n(from, nb_bytes, tail);
  return load_byte_block(tail);
}

// run is followed by readable memory up to end.
void add_digest_sums(digest_sums& sums, std::string_view run, const char* end) {
  unsigned char* lanes = sums.lanes[sums.phase];
  byte_block sum = load_byte_block(lanes);
  size_t at = 0;
  for (; at + BYTE_BLOCK_SIZE <= run.size(); at += BYTE_BLOCK_SIZE) {
    sum = add_byte_block(sum, load_byte_block(run.data() + at));
  }
  if (at < run.size()) {
    sum = add_byte_block(sum, load_tail(run.data() + at, run.size() - at, end));
  }
  store_byte_block(lanes, sum);
  sums.phase = (sums.phase + run.size()) % BYTE_BLOCK_SIZE;
}

content_digest build_digest(const digest_sums& sums) {
  content_digest digest{};
  for (size_t phase = 0; phase < BYTE_BLOCK_SIZE; ++phase) {
    for (size_t lane = 0; lane < BYTE_BLOCK_SIZE; ++lane) {
      unsigned char& byte = digest[(phase + lane) % BYTE_BLOCK_SIZE];
      byte = static_cast<unsigned char>(byte + sums.lanes[phase][lane]);
    }
  }
  return digest;
}

}  // namespace

content_digest compute_text_digest(std::string_view text) {
  digest_sums sums;
  add_digest_sums(sums, text.substr(0, find_byte(text, 0, '\0')), text.data() + text.size());
  return build_digest(sums);
}

// No byte of it is zero, where a key would end: two bodies are told apart by all sixteen.
content_digest compute_body_digest(std::string_view body) {
  digest_sums sums;
  add_digest_sums(sums, body, body.data() + body.size());
  content_digest digest = build_digest(sums);
  std::replace(digest.begin(), digest.end(), static_cast<unsigned char>(0),
               static_cast<unsigned char>(1));
  return digest;
}

content_digest compute_page_digest(std::string_view page) {
  digest_sums sums;
  page_text_scan scan{.page = page};
  // One fast look at the page spares the many short runs of nearly all pages their own.
  const bool has_nul = find_byte(page, 0, '\0') < page.size();
  for (std::string_view run; find_next_page_text(scan, run);) {
    const size_t length = has_nul ? find_byte(run, 0, '\0') : run.size();
    add_digest_sums(sums, run.substr(0, length), page.data() + page.size());
    if (length < run.size()) break;
  }
  return build_digest(sums);
}

}  // namespace wk
