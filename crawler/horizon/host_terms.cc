#include "crawler/horizon/host_terms.h"

#include <algorithm>
#include <iterator>

namespace wk {
namespace {

bool is_at_share(const host_terms& terms, const host_work& work) {
  return terms.share != 0 && work.nb_in_hands >= terms.share;
}

// Changes how many URLs of a host are in hands, and all that is counted from it.
void change_in_hands(host_terms& terms, host_work& work, int32_t change) {
  const bool was_at_share = is_at_share(terms, work);
  work.nb_in_hands += static_cast<uint32_t>(change);
  terms.nb_in_hands += static_cast<uint32_t>(change);
  if (work.rest_until_us != 0) terms.nb_in_hands_at_rest += static_cast<uint32_t>(change);
  if (is_at_share(terms, work) == was_at_share) return;
  terms.nb_at_share += was_at_share ? UINT32_MAX : 1;
}

void end_rest(host_terms& terms, host_work& work) {
  if (work.rest_until_us == 0) return;
  work.rest_until_us = 0;
  --terms.nb_resting;
  terms.nb_in_hands_at_rest -= work.nb_in_hands;
}

void remove_rested_hosts(host_terms& terms, uint64_t now_us) {
  for (auto at = terms.hosts.begin(); at != terms.hosts.end();) {
    host_work& work = at->second;
    if (work.rest_until_us <= now_us) end_rest(terms, work);
    const bool is_idle = work.nb_in_hands == 0 && work.rest_until_us == 0;
    at = is_idle ? terms.hosts.erase(at) : std::next(at);
  }
}

}  // namespace

bool is_welcome_host(const host_terms& terms, std::string_view host, host_claim claim,
                     uint64_t now_us) {
  const auto at = terms.hosts.find(host);
  if (at == terms.hosts.end()) return true;
  const host_work& work = at->second;
  if (claim != CLAIM_REST && work.rest_until_us > now_us) return false;
  if (!is_at_share(terms, work)) return true;
  return claim != CLAIM_SHARE && work.nb_unanswered < terms.share;
}

bool is_idle_host(const host_terms& terms, std::string_view host) {
  const auto at = terms.hosts.find(host);
  return at != terms.hosts.end() && at->second.rest_until_us != 0 && at->second.nb_in_hands == 0;
}

void take_url_host_terms(host_terms& terms, std::string_view host) {
  host_work& work = terms.hosts.try_emplace(std::string(host)).first->second;
  change_in_hands(terms, work, 1);
  ++work.nb_unanswered;
}

void end_url_host_terms(host_terms& terms, std::string_view host) {
  const auto at = terms.hosts.find(host);
  if (at == terms.hosts.end() || at->second.nb_in_hands == 0) return;
  host_work& work = at->second;
  change_in_hands(terms, work, -1);
  work.nb_unanswered = std::min(work.nb_unanswered, work.nb_in_hands);
  if (work.nb_in_hands == 0 && work.rest_until_us == 0) terms.hosts.erase(at);
}

void answer_host_terms(host_terms& terms, std::string_view host) {
  const auto at = terms.hosts.find(host);
  if (at == terms.hosts.end()) return;
  at->second.nb_unanswered = 0;
  end_rest(terms, at->second);
}

void rest_host_terms(host_terms& terms, std::string_view host, uint64_t now_us, uint64_t rest_us) {
  if (rest_us == 0) return;
  if (terms.nb_resting >= MAX_RESTING_HOSTS) remove_rested_hosts(terms, now_us);
  if (terms.nb_resting >= MAX_RESTING_HOSTS) return;
  host_work& work = terms.hosts.try_emplace(std::string(host)).first->second;
  if (work.rest_until_us == 0) {
    ++terms.nb_resting;
    terms.nb_in_hands_at_rest += work.nb_in_hands;
  }
  work.rest_until_us = now_us + rest_us;
}

void clear_host_terms(host_terms& terms) {
  terms.hosts.clear();
  terms.nb_in_hands = 0;
  terms.nb_resting = 0;
  terms.nb_in_hands_at_rest = 0;
  terms.nb_at_share = 0;
}

}  // namespace wk
