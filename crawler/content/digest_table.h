// Which contents a crawl has seen: a set of 16-byte digests, shared by all spiders.
//
// The digest is a sum of bytes by their place modulo 16, taken as a key that ends at its first zero
// byte. Look-ups take the table's read lock, entering its write lock.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace wk {

using content_digest = std::array<unsigned char, 16>;

// Up to the first NUL byte of text.
[[nodiscard]] content_digest compute_text_digest(std::string_view text);
// Over all bytes, zero bytes included; the digest itself holds none, so that all of it is the key.
[[nodiscard]] content_digest compute_body_digest(std::string_view body);
// The digest of a page's text without building the text.
[[nodiscard]] content_digest compute_page_digest(std::string_view page);

struct digest_table;
struct destroy_digest_table {
  void operator()(digest_table* table) const;
};
using digest_table_ptr = std::unique_ptr<digest_table, destroy_digest_table>;

[[nodiscard]] digest_table_ptr create_digest_table();
// True when the digest was seen before; enters it otherwise. Of two spiders that bring one new
// digest at once, one is told that it is new.
bool test_and_enter_digest_table(digest_table& table, const content_digest& digest);
[[nodiscard]] uint64_t count_digest_table(const digest_table& table);
// Image, in the encoding of wkstd/state_stream.h.
void save_digest_table(const digest_table& table, std::string& stream);
[[nodiscard]] bool load_digest_table(std::string_view& stream, digest_table& table);

}  // namespace wk
