#include "crawler/horizon/url_fingerprint.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <random>

namespace wk {
namespace {

struct sip_state {
  uint64_t v0, v1, v2, v3;
};

inline void run_sip_round(sip_state& s) {
  s.v0 += s.v1;
  s.v1 = std::rotl(s.v1, 13) ^ s.v0;
  s.v0 = std::rotl(s.v0, 32);
  s.v2 += s.v3;
  s.v3 = std::rotl(s.v3, 16) ^ s.v2;
  s.v0 += s.v3;
  s.v3 = std::rotl(s.v3, 21) ^ s.v0;
  s.v2 += s.v1;
  s.v1 = std::rotl(s.v1, 17) ^ s.v2;
  s.v2 = std::rotl(s.v2, 32);
}

inline void absorb_sip_word(sip_state& s, uint64_t word) {
  s.v3 ^= word;
  run_sip_round(s);
  s.v0 ^= word;
}

uint64_t squeeze_sip_word(sip_state& s) {
  run_sip_round(s);
  run_sip_round(s);
  run_sip_round(s);
  return s.v0 ^ s.v1 ^ s.v2 ^ s.v3;
}

}  // namespace

fingerprint_key draw_fingerprint_key() {
  static const fingerprint_key key = [] {
    std::random_device source;
    const auto draw = [&source] { return static_cast<uint64_t>(source()) << 32 | source(); };
    return fingerprint_key{draw(), draw()};
  }();
  return key;
}

url_fingerprint build_url_fingerprint(const fingerprint_key& key, std::string_view url) {
  sip_state s{key.k0 ^ 0x736f6d6570736575, key.k1 ^ 0x646f72616e646f6d ^ 0xee,
              key.k0 ^ 0x6c7967656e657261, key.k1 ^ 0x7465646279746573};
  const char* at = url.data();
  size_t left = url.size();
  for (; left >= 8; left -= 8, at += 8) {
    uint64_t word = 0;
    std::memcpy(&word, at, 8);
    absorb_sip_word(s, word);
  }
  uint64_t last = static_cast<uint64_t>(url.size()) << 56;
  for (size_t i = 0; i < left; ++i) {
    last |= static_cast<uint64_t>(static_cast<unsigned char>(at[i])) << (8 * i);
  }
  absorb_sip_word(s, last);

  url_fingerprint print;
  s.v2 ^= 0xee;
  print.low = squeeze_sip_word(s);
  s.v1 ^= 0xdd;
  print.high = squeeze_sip_word(s);
  if (print == url_fingerprint{}) print.low = 1;
  return print;
}

}  // namespace wk
