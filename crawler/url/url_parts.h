// The parts of an absolute URL that others use as keys.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

// The host (user part and port included, case unchanged) of an http or https URL: the key of queues
// and robots rules. Empty when url is neither. The view lies inside url.
[[nodiscard]] std::string_view find_url_host(std::string_view url);
[[nodiscard]] int get_url_host(std::string& out, std::string_view url);  // 1, or 0: no such URL

// The site prefix, scheme and host without a path ("http://host:8080"), at most 1,023 bytes: the
// key of credentials and page allowances. Empty when url has none. The view lies inside url.
[[nodiscard]] std::string_view find_url_site(std::string_view url);
[[nodiscard]] int get_url_site(std::string& out, std::string_view url);  // 0, or -1: no site

[[nodiscard]] uint32_t get_url_path_depth(std::string_view url);
[[nodiscard]] uint32_t get_url_host_depth(std::string_view url);

// The 32-bit hash that spreads hosts over the horizon's queues; 0 for an empty host.
[[nodiscard]] uint32_t hash_url_host(std::string_view host);

}  // namespace wk
