// Which hosts may be asked at the moment, and by how many spiders.
//
// One host that does not answer must not take all spiders, and a name that was not found must not
// be tried with every URL of it. So the horizon counts for each host the URLs that are in spiders'
// hands, and keeps the time until which a host rests. Both change what a queue hands out next, and
// never what it holds.
//
// A host is its text as find_url_host gives it. It has an entry while URLs of it are in hands or it
// rests. Times are µs of the steady clock. Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace wk {

constexpr size_t MAX_RESTING_HOSTS = 65'536;  // others do not rest

// How far a host's terms are stretched.
enum host_claim : uint32_t {
  CLAIM_SHARE = 0,   // less than its share of the spiders have it in hands
  CLAIM_ANSWER = 1,  // or it has answered since so many took a URL of it
  CLAIM_REST = 2,    // the same, and it may be a host that rests
};

struct host_work {
  uint32_t nb_in_hands = 0;
  uint32_t nb_unanswered = 0;  // handed out since its last answer
  uint64_t rest_until_us = 0;  // 0: does not rest
};

struct hash_host_text {
  using is_transparent = void;
  size_t operator()(std::string_view host) const { return std::hash<std::string_view>()(host); }
};

struct host_terms {
  uint32_t share = 0;  // of the spiders, that one host may take; 0: any number
  std::unordered_map<std::string, host_work, hash_host_text, std::equal_to<>> hosts;
  uint32_t nb_in_hands = 0;
  uint32_t nb_resting = 0;
  uint32_t nb_in_hands_at_rest = 0;  // URLs in hands whose host rests
  uint32_t nb_at_share = 0;          // hosts with no less than their share in hands
};

[[nodiscard]] bool is_welcome_host(const host_terms& terms, std::string_view host, host_claim claim,
                                   uint64_t now_us);
// Whether the host rests and no URL of it is in hands.
[[nodiscard]] bool is_idle_host(const host_terms& terms, std::string_view host);
// Whether every host is welcome whatever the claim.
[[nodiscard]] inline bool are_all_hosts_welcome(const host_terms& terms) {
  return terms.nb_resting == 0 && terms.nb_at_share == 0;
}

void take_url_host_terms(host_terms& terms, std::string_view host);
void end_url_host_terms(host_terms& terms, std::string_view host);
void answer_host_terms(host_terms& terms, std::string_view host);
void rest_host_terms(host_terms& terms, std::string_view host, uint64_t now_us, uint64_t rest_us);
void clear_host_terms(host_terms& terms);  // the share stays

}  // namespace wk
