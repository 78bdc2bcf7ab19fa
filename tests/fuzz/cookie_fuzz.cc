// The header for a URL is what looking at one cookie after the other gives, and fits in a request.
#include <string>

#include "crawler/fetch/cookie_jar.h"
#include "crawler/fetch/url_key.h"
#include "tests/fuzz/fuzz_law.h"

namespace wk {
namespace {

constexpr uint32_t NOON = 1'000'000'000;

std::string build_header_slowly(const cookie_jar& jar, std::string_view url) {
  url_address target;
  if (split_url(target, url) == 0) target = {};
  std::string header;
  for (const cookie& each : list_cookie_jar(jar)) {
    std::string_view key = each.key;
    if (key.starts_with('.')) key.remove_prefix(1);
    const bool fits = jar.store.rules->strict_safety ? does_url_key_fit(each.key, target)
                                                     : url.find(key) != std::string_view::npos;
    const bool outdated = each.expiry != 0 && each.expiry <= NOON;
    if (fits && !outdated) header += each.name + "=" + each.value + "; ";
  }
  return header;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  cookie_jar jar;
  jar.clock = [] { return NOON; };
  const crawl_rules rules{.strict_safety = take_byte(bytes) % 2 != 0};
  jar.store.rules = &rules;
  const std::string_view url = take_part(bytes), domain = take_part(bytes);
  while (!bytes.empty()) {
    cookie_jar_parse_set_cookie(jar, domain, take_part(bytes), take_part(bytes));
  }
  const std::string expected = build_header_slowly(jar, url);
  std::string header;
  const int answer = cookie_jar_header(jar, url, header);
  require_law(header == expected && answer == (header.empty() ? 0 : 1), "the fitting cookies go");
  require_law(is_safe_cookie_text(header), "no byte of a header ends its line");
}

}  // namespace wk
