// 128 bits that stand for a URL: SipHash-1-3 with its 128-bit result (Aumasson and Bernstein,
// "SipHash: a fast short-input PRF"). The key is drawn anew for each horizon, so that nobody can
// prepare two URLs that meet; fingerprints are therefore never written to a file.
#pragma once

#include <cstdint>
#include <string_view>

namespace wk {

struct fingerprint_key {
  uint64_t k0 = 0;
  uint64_t k1 = 0;
};

// Never all zero.
struct url_fingerprint {
  uint64_t low = 0;
  uint64_t high = 0;

  friend bool operator==(const url_fingerprint&, const url_fingerprint&) = default;
};

// From the system's random source, one for the process.
[[nodiscard]] fingerprint_key draw_fingerprint_key();
[[nodiscard]] url_fingerprint build_url_fingerprint(const fingerprint_key& key,
                                                    std::string_view url);

}  // namespace wk
